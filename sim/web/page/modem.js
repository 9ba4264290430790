// The modem and its SIM: what they are in, and what may be done to them.
import { command } from './command.js';
import { byId, make, quoted, setText } from './dom.js';
import { onChange, store } from './store.js';

const dBm = (signal) => (signal === 99 ? 'unknown' : `${2 * signal - 113} dBm (${signal})`);

const FACTS = [
  ['Power', (m) => (m.powered ? 'on' : 'off')],
  ['Port', (m) => (!m.pluggedIn ? 'unplugged' : m.inUse ? 'open' : 'nobody has it open')],
  ['SIM', (m) => m.sim],
  ['Tries left', (m) => `PIN ${m.pinTries}, PUK ${m.pukTries}`],
  ['Network', (m) => (m.registered ? m.operator : 'not registered')],
  ['Signal', (m) => dBm(m.signal)],
  ['Storage', (m) => `${m.used} of ${m.places}${m.held ? `, ${m.held} held by the network` : ''}`],
];
const values = new Map();

for (const [name] of FACTS) {
  const value = make('dd', { attributes: { 'data-fact': name } });
  values.set(name, value);
  byId('modem-facts').append(make('dt', { text: name }), value);
}

const signal = make('input', { attributes: { type: 'range', min: '0', max: '31', 'aria-label': 'Signal, 0 to 31' } });
signal.addEventListener('change', () => command(`modem signal ${signal.value} 0`));
const key = make('button', { text: 'Pulse the power key' });
key.addEventListener('click', () => command('modem key'));
byId('modem-controls').append(
  make('div', { classes: 'bar', children: [make('label', { children: ['Signal ', signal] }), key] }),
);

function place(sms) {
  const number = make('span', { classes: 'quiet', text: `${sms.place} ` });
  return make('li', { children: [number, quoted(sms.number, 'label'), ' ', quoted(sms.text)] });
}

onChange((fresh, changed) => {
  const modem = store.parts.modem;
  if (!changed.has('modem') || !modem) return;
  for (const [name, text] of FACTS) setText(values.get(name), text(modem));
  if (document.activeElement !== signal) signal.value = Math.min(modem.signal, 31);
  const stored = modem.stored.map(place);
  byId('modem-storage').replaceChildren(...(stored.length ? stored : [make('li', { classes: 'quiet', text: 'empty' })]));
});
