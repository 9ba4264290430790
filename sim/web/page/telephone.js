// A telephone: SMS to the card and from it.
import { command, word } from './command.js';
import { appendFollowing, byId, make, quoted, timeOf } from './dom.js';
import { onChange, store } from './store.js';

const MOST_SHOWN = 200;

function bubble(event) {
  const sent = event.kind === 'sms-in'; // to the card
  const head = make('span', { classes: 'quiet' });
  head.append(sent ? 'from ' : 'the card to ', quoted(event.who ?? ''), ` · ${timeOf(event.time, false)}`);
  return make('li', {
    classes: sent ? 'sent' : 'received',
    children: [head, make('p', { children: [quoted(event.text)] })],
  });
}

const isSms = (event) => event.kind === 'sms-in' || event.kind === 'sms-out';

byId('telephone-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const text = byId('telephone-text');
  if (await command(`sms ${word(byId('telephone-number').value.trim())} ${word(text.value)}`)) text.value = '';
});

onChange((fresh) => {
  const list = byId('telephone-list');
  if (!fresh) list.replaceChildren();
  const messages = (fresh ?? store.events).filter(isSms).slice(-MOST_SHOWN);
  if (messages.length > 0 || !fresh) appendFollowing(list, messages.map(bubble), MOST_SHOWN);
});
