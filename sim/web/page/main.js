// Starts the page; each part listens to the store.
import './inputs.js';
import './outputs.js';
import './rules.js';
import './telephone.js';
import './modem.js';
import './faults.js';
import './timeline.js';
import './log.js';
import './scenario.js';
import { causeOf, describe } from './describe.js';
import { byId, setText } from './dom.js';
import { connect } from './events.js';
import { onChange, store } from './store.js';

// Parts of the page that need something: the server's part of that name, or the right to command.
function showParts() {
  const has = (part) => (part === 'commands' ? !store.about.readOnly : part in store.parts);
  for (const element of document.querySelectorAll('[data-part]')) element.hidden = !has(element.dataset.part);
}

// What changed, for screen readers: outputs, SMS and faults; of many only how many.
const SAID = new Set(['output', 'sms-out', 'fault', 'note']);
function say(fresh) {
  const news = fresh.filter((event) => SAID.has(event.kind));
  if (news.length === 0) return;
  const cause = (event) => (event.cause ? `: ${causeOf(event)}` : '');
  setText(byId('said'), news.length > 3 ? `${news.length} changes` : news.map((e) => describe(e) + cause(e)).join('. '));
}

onChange((fresh, changed) => {
  if (changed.has('about')) {
    document.title = store.about.title;
    setText(byId('title'), store.about.title);
    document.body.classList.toggle('reading', store.about.readOnly);
  }
  byId('peer').hidden = store.parts.server?.running ?? true;
  showParts();
  if (fresh) say(fresh);
});

connect((state) => {
  setText(byId('link'), state);
  byId('link').classList.toggle('bad', state !== 'connected');
});
