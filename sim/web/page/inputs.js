// Inputs as switches; the other states in a list beside each.
import { command, word } from './command.js';
import { byId, make, quoted, setText } from './dom.js';
import { onChange, store } from './store.js';

const STATES = ['clear', 'set', 'warn', 'unknown'];
const rows = new Map(); // by label

const send = (label, value) => command(`alarm ${word(label)} ${value}`);

function addRow(port) {
  const toggle = make('button', {
    classes: 'switch',
    attributes: { role: 'switch', 'aria-checked': 'false', 'aria-label': port.label, 'data-label': port.label },
  });
  toggle.append(make('span', { classes: 'knob' }));
  toggle.addEventListener('click', () => {
    const now = toggle.getAttribute('aria-checked') === 'true';
    send(port.label, now ? 'clear' : 'set');
  });
  const choice = make('select', { attributes: { 'aria-label': `State of ${port.label}` } });
  for (const state of STATES) choice.append(make('option', { text: state, attributes: { value: state } }));
  choice.addEventListener('change', () => send(port.label, choice.value));
  const row = make('li', { children: [toggle, quoted(port.label, 'label'), choice] });
  rows.set(port.label, { row, toggle, choice });
  return row;
}

function show(port) {
  const { row, toggle, choice } = rows.get(port.label);
  toggle.setAttribute('aria-checked', String(port.value === 'set'));
  toggle.disabled = store.about.readOnly;
  choice.disabled = store.about.readOnly;
  choice.value = port.value;
  row.dataset.value = port.value;
}

onChange((fresh, changed) => {
  if (!changed.has('ports')) return;
  const inputs = (store.parts.ports ?? []).filter((port) => !port.output);
  if (inputs.length !== rows.size || inputs.some((port) => !rows.has(port.label))) {
    rows.clear();
    byId('inputs-list').replaceChildren(...inputs.map(addRow));
    if (inputs.length === 0) byId('inputs-list').append(make('li', { classes: 'quiet', text: 'none yet' }));
  }
  inputs.forEach(show);
  setText(byId('inputs-title'), inputs.length > 12 ? `Inputs (${inputs.length})` : 'Inputs');
});
