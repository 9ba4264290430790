// Faults, each with what mends it.
import { command } from './command.js';
import { byId, make, setText } from './dom.js';
import { onChange, store } from './store.js';

// Name, whether it is there now (parts may be missing yet), then buttons: text and commands.
const FAULTS = [
  {
    name: 'Object server',
    now: ({ server: s }) => (!s?.running ? 'stopped' : s.hanging ? 'hanging' : `${s.clients} connected`),
    bad: ({ server: s }) => !s?.running || s.hanging,
    buttons: [['Stop', 'server stop'], ['Hang', 'server hang'], ['Restart', 'server restart'], ['Mend', 'server start', 'server resume']],
  },
  {
    name: 'Modem',
    now: ({ modem: m }) =>
      !m ? 'absent' : !m.pluggedIn ? 'unplugged' : m.silent ? 'silent' : m.delay > 1500 ? `${m.delay / 1000} s late` : 'answers',
    bad: ({ modem: m }) => m && (!m.pluggedIn || m.silent || m.delay > 1500),
    buttons: [
      ['Silent', 'modem silent on'],
      ['Slow', 'modem delay 3s'],
      ['Unplug', 'modem hangup'],
      ['Mend', 'modem silent off', 'modem delay 200ms', ({ modem: m }) => (m && !m.pluggedIn ? 'modem plugin' : '')],
    ],
  },
  {
    name: 'SIM',
    now: ({ modem: m }) => m?.sim ?? 'absent',
    bad: ({ modem: m }) => m && m.sim !== 'ready',
    hint: 'The daemon meets another SIM when it sets the modem up: restart it.',
    buttons: [
      ['Take out', 'modem sim out'],
      ['Without PIN', 'modem sim nopin'],
      ['Other PIN', 'modem sim pin 9876'],
      ['Mend', 'modem sim pin 1357'],
    ],
  },
  {
    name: 'Daemon',
    now: ({ daemon: d }) => (d?.running ? 'runs' : 'does not run'),
    bad: ({ daemon: d }) => !d?.running,
    buttons: [['Kill', 'kill'], ['Start', 'start'], ['Restart', 'kill', 'start']],
  },
];

const isHarmless = (text) => text === 'Mend' || text === 'Start' || text === 'Restart';

async function carryOut(lines) {
  for (const line of lines) {
    const text = typeof line === 'function' ? line(store.parts) : line;
    if (text && !(await command(text))) return;
  }
}

const states = FAULTS.map((fault) => {
  const state = make('span', { classes: 'pill', attributes: { 'data-fault': fault.name } });
  const buttons = fault.buttons.map(([text, ...lines]) => {
    const button = make('button', { text, attributes: { 'aria-label': `${fault.name}: ${text}` } });
    if (isHarmless(text)) button.className = 'mend';
    button.addEventListener('click', () => carryOut(lines));
    return button;
  });
  const head = make('div', { classes: 'bar', children: [make('h3', { text: fault.name }), state] });
  const group = make('div', { classes: 'fault', children: [head, make('div', { classes: 'bar', children: buttons })] });
  if (fault.hint) group.append(make('p', { classes: 'quiet', text: fault.hint }));
  byId('faults-list').append(group);
  return state;
});

byId('command-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const line = byId('command-line');
  if (await command(line.value)) line.value = '';
});

onChange((fresh, changed) => {
  if (!['server', 'modem', 'daemon'].some((part) => changed.has(part))) return;
  FAULTS.forEach((fault, i) => {
    setText(states[i], fault.now(store.parts));
    states[i].classList.toggle('bad', Boolean(fault.bad(store.parts)));
  });
});
