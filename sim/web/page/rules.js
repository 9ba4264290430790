// Rules as trees with the daemon's present verdicts. Preorder letters: a active, n not active, o no state.
import { byId, make, quoted, setText } from './dom.js';
import { onChange, store } from './store.js';

const MOST_SHOWN = 60; // more at once nobody can look at; the filter finds the others
const WORDS = { a: 'active', n: 'not active', o: 'no state' };
const CLASSES = { a: 'active', n: 'resting', o: 'none' };

let shown = new Map(); // number of a rule -> its nodes in preorder

function nodeName(node) {
  if (node.operation) return make('span', { classes: 'operation', text: node.operation });
  const name = quoted(node.label, 'label');
  return node.inverted ? make('span', { children: [make('span', { classes: 'operation', text: 'not ' }), name] }) : name;
}

function buildNode(node, nodes) {
  const dot = make('span', { classes: 'dot none' });
  const state = make('span', { classes: 'unseen' });
  const mark = make('span', { classes: 'decides' });
  const line = make('div', { classes: 'node', children: [mark, dot, nodeName(node), state] });
  const entry = { dot, state, mark, line, children: [] };
  nodes.push(entry);
  const item = make('li', { children: [line] });
  if (node.children) {
    const children = node.children.map((child) => {
      entry.children.push(nodes.length);
      return buildNode(child, nodes);
    });
    item.append(make('ul', { children }));
  }
  return item;
}

function buildRule(rule, number) {
  const nodes = [];
  const tree = make('ul', { classes: 'tree', children: [buildNode(rule.tree, nodes)] });
  const action = make('p', { classes: 'action' });
  action.append(`⇒ ${rule.sms ? 'alarm SMS ' : ''}`, quoted(rule.output, 'label'));
  if (rule.inverse) action.append(make('span', { classes: 'quiet', text: ' (inverse)' }));
  const effect = make('span', { classes: 'quiet' });
  action.append(effect);
  shown.set(number, { nodes, effect, rule });
  return make('article', {
    classes: 'rule',
    attributes: { id: `rule-${number}`, 'aria-label': `Rule ${number + 1}` },
    children: [make('span', { classes: 'number quiet', text: String(number + 1) }), tree, action],
  });
}

function effectOf(rule, letter) {
  if (letter === 'o') return rule.sms ? ': nothing' : ': left alone';
  if (rule.sms) return ': evaluated again on an SMS command';
  return (letter === 'a') !== rule.inverse ? ': away from its default' : ': in its default state';
}

function showStates() {
  for (const [number, { nodes, effect, rule }] of shown) {
    const states = store.states.get(number);
    if (!states) continue;
    nodes.forEach((node, i) => {
      const letter = states.letters[i] ?? 'o';
      node.dot.className = `dot ${CLASSES[letter]}`;
      setText(node.state, `: ${WORDS[letter]}`);
    });
    nodes.forEach((node, i) => {
      node.children.forEach((child, place) => {
        const decides = states.deciders[i] === place && node.children.length > 1;
        setText(nodes[child].mark, decides ? '▸' : '');
        nodes[child].line.classList.toggle('deciding', decides);
        if (decides) setText(nodes[child].state, `${nodes[child].state.textContent}, decided`);
      });
    });
    setText(effect, effectOf(rule, states.letters[0]));
  }
}

const labelsOf = (node) => (node.children ? node.children.flatMap(labelsOf) : [node.label]);

function build() {
  shown = new Map();
  const wanted = byId('rules-filter').value.trim().toLowerCase();
  const matches = (store.parts.rules ?? [])
    .map((rule, number) => ({ rule, number }))
    .filter(({ rule }) => [rule.output, ...labelsOf(rule.tree)].some((label) => label.toLowerCase().includes(wanted)));
  byId('rules-list').replaceChildren(...matches.slice(0, MOST_SHOWN).map(({ rule, number }) => buildRule(rule, number)));
  byId('rules-more').hidden = matches.length <= MOST_SHOWN;
  setText(byId('rules-more'), `${matches.length - MOST_SHOWN} more: narrow the search.`);
  showStates();
}

byId('rules-filter').addEventListener('input', build);
onChange((fresh, changed) => {
  if (changed.has('rules')) build();
  else if (changed.has('states')) showStates();
});
