// What the page knows. Bounded: the oldest events go.

const MOST_EVENTS = 3000; // inputs, outputs, SMS, faults, notes
const MOST_LINES = 1000; // log and AT traffic
const LINE_KINDS = new Set(['to-modem', 'from-modem', 'log', 'print']);

export const isLine = (event) => LINE_KINDS.has(event.kind);

export const store = {
  about: { title: 'Card', readOnly: true },
  parts: {}, // as the server names them: ports, rules, modem, server, daemon, scenario, progress
  states: new Map(), // of rules: number -> { letters, deciders }
  events: [],
  lines: [],
  leftOut: 0,
};

const listeners = [];

/** Calls @p listener(fresh, changed) with new events and the set of changed parts; fresh is null for a new start. */
export const onChange = (listener) => listeners.push(listener);

function keep(list, fresh, most) {
  list.push(...fresh);
  if (list.length > most) list.splice(0, list.length - most);
}

function keepStates(states) {
  for (const [rule, letters, deciders] of states) store.states.set(rule, { letters, deciders });
}

function tell(fresh, changed) {
  for (const listener of listeners) listener(fresh, changed);
}

export function takeSnapshot(snapshot) {
  store.about = snapshot.about;
  store.parts = snapshot.parts;
  store.states.clear();
  keepStates(snapshot.states);
  store.events = snapshot.events.filter((event) => !isLine(event));
  store.lines = snapshot.events.filter(isLine);
  store.leftOut = 0;
  tell(null, new Set([...Object.keys(snapshot.parts), 'states', 'about']));
}

/** Several batches at once: a page in the background gets many. */
export function takeNews(batches) {
  const changed = new Set();
  const fresh = [];
  for (const news of batches) {
    for (const [name, value] of Object.entries(news.parts ?? {})) {
      store.parts[name] = value;
      changed.add(name);
      if (name === 'rules') store.states.clear();
    }
    if (news.states) {
      keepStates(news.states);
      changed.add('states');
    }
    store.leftOut += news.leftOut ?? 0;
    for (const event of news.events ?? []) {
      takePort(event, changed);
      fresh.push(event);
    }
  }
  keep(store.events, fresh.filter((event) => !isLine(event)), MOST_EVENTS);
  keep(store.lines, fresh.filter(isLine), MOST_LINES);
  tell(fresh, changed);
}

function takePort(event, changed) {
  if (event.kind !== 'input' && event.kind !== 'output') return;
  const output = event.kind === 'output';
  const port = store.parts.ports?.find((known) => known.output === output && known.label === event.label);
  if (!port) return;
  port.value = event.value;
  port.by = event.by;
  port.cause = event.cause;
  changed.add('ports');
}
