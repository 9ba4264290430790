// The scenario: its lines, where it is, and its buttons.
import { control } from './command.js';
import { byId, make, setText } from './dom.js';
import { onChange, store } from './store.js';

for (const wish of ['run', 'pause', 'step']) byId(`scenario-${wish}`).addEventListener('click', () => control(wish));

function showProgress() {
  const { state = '', line = 0, failure = '' } = store.parts.progress ?? {};
  setText(byId('scenario-state'), state);
  byId('scenario-state').className = `pill ${state}`;
  setText(byId('scenario-failure'), failure ? `Line ${line + 1}: ${failure}` : '');
  byId('scenario-failure').hidden = !failure;
  const lines = byId('scenario-lines').children;
  for (let i = 0; i < lines.length; ++i) {
    const now = i === line && state !== 'passed' && state !== 'ended';
    lines[i].classList.toggle('over', i < line);
    lines[i].classList.toggle('now', now);
    lines[i].classList.toggle('bad', now && state === 'failed');
    if (now) {
      lines[i].setAttribute('aria-current', 'step');
      byId('scenario-lines').scrollTop = lines[i].offsetTop - byId('scenario-lines').clientHeight / 2;
    } else lines[i].removeAttribute('aria-current');
  }
  const over = line >= lines.length;
  byId('scenario-run').disabled = over || state === 'running';
  byId('scenario-step').disabled = over || state === 'running';
  byId('scenario-pause').disabled = over || state !== 'running';
}

onChange((fresh, changed) => {
  const scenario = store.parts.scenario;
  if (changed.has('scenario') && scenario) {
    byId('scenario').hidden = !scenario.file;
    setText(byId('scenario-file'), scenario.file);
    byId('scenario-lines').replaceChildren(...scenario.lines.map((text) => make('li', { text: text || '\u00a0' })));
  }
  if (scenario && (changed.has('scenario') || changed.has('progress'))) showProgress();
});
