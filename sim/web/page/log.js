// The log, the AT traffic and the events as lines, with a filter.
import { describe } from './describe.js';
import { appendFollowing, byId, make, quoted, timeOf } from './dom.js';
import { isLine, onChange, store } from './store.js';

const MOST_SHOWN = 500;
const NAMES = { 'to-modem': 'AT', 'from-modem': 'AT', print: 'prints', 'sms-in': 'SMS', 'sms-out': 'SMS', done: 'met' };

let held = false;

function wanted(event) {
  const kindWanted = !isLine(event) ? byId('log-events').checked
    : event.kind === 'log' || event.kind === 'print' ? byId('log-log').checked : byId('log-at').checked;
  const text = byId('log-filter').value.toLowerCase();
  return kindWanted && (!text || describe(event).toLowerCase().includes(text));
}

const line = (event) =>
  make('li', {
    classes: `line ${event.kind}`,
    children: [
      make('time', { text: timeOf(event.time) }),
      make('span', { classes: 'kind', text: NAMES[event.kind] ?? event.kind }),
      quoted(describe(event)),
    ],
  });

function showAll() {
  const all = [...store.events, ...store.lines].filter(wanted).sort((one, other) => one.time - other.time);
  const list = byId('log-lines');
  list.replaceChildren(...all.slice(-MOST_SHOWN).map(line));
  list.scrollTop = list.scrollHeight;
}

for (const id of ['log-log', 'log-at', 'log-events', 'log-filter']) byId(id).addEventListener('input', showAll);
byId('log-pause').addEventListener('click', () => {
  held = !held;
  byId('log-pause').setAttribute('aria-pressed', String(held));
  if (!held) showAll();
});

onChange((fresh) => {
  if (held) return;
  if (!fresh) showAll();
  else appendFollowing(byId('log-lines'), fresh.filter(wanted).slice(-MOST_SHOWN).map(line), MOST_SHOWN);
});
