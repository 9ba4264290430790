// Outputs as lamps, with who drove each last and why.
import { byId, make, quoted, setText } from './dom.js';
import { onChange, store } from './store.js';

const rows = new Map(); // by label

function addRow(port) {
  const lamp = make('span', { classes: 'lamp', attributes: { role: 'img', 'data-label': port.label } });
  const by = make('span', { classes: 'quiet by' });
  const names = make('span', { classes: 'names', children: [quoted(port.label, 'label'), by] });
  const value = make('span', { classes: 'value' });
  rows.set(port.label, { lamp, by, value });
  return make('li', { children: [lamp, names, value] });
}

function show(port) {
  const { lamp, by, value } = rows.get(port.label);
  lamp.dataset.value = port.value;
  lamp.setAttribute('aria-label', `${port.label} is ${port.value}`);
  setText(value, port.value === port.default ? `${port.value}, its default` : port.value);
  const driver = port.by === 'I/O driver' ? `${port.by}${port.cause ? `: ${port.cause.text}` : ''}` : port.cause?.text;
  setText(by, driver ? `last by ${driver}` : 'not driven yet');
}

onChange((fresh, changed) => {
  if (!changed.has('ports')) return;
  const outputs = (store.parts.ports ?? []).filter((port) => port.output);
  if (outputs.length !== rows.size || outputs.some((port) => !rows.has(port.label))) {
    rows.clear();
    byId('outputs-list').replaceChildren(...outputs.map(addRow));
    if (outputs.length === 0) byId('outputs-list').append(make('li', { classes: 'quiet', text: 'none yet' }));
  }
  outputs.forEach(show);
});
