// Commands to the bench, and its answers.
import { byId, setText } from './dom.js';

let clearing = null;

export function complain(text) {
  setText(byId('complaint'), text);
  clearTimeout(clearing);
  if (text) clearing = setTimeout(() => setText(byId('complaint'), ''), 8000);
}

async function post(path, body) {
  try {
    const answer = await fetch(path, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify(body),
    });
    complain(answer.ok ? '' : (await answer.text()).trim());
    return answer.ok;
  } catch {
    complain('The bench does not answer.');
    return false;
  }
}

/** A word of the scenario language, quoted. */
export function word(text) {
  const escaped = text.replace(/[\\"]/g, '\\$&').replace(/\n/g, '\\n').replace(/\r/g, '\\r').replace(/\t/g, '\\t');
  return `"${escaped}"`;
}

/** Has a line of the scenario language obeyed. @return a promise of whether it was */
export const command = (line) => post('command', { line });

/** "run", "pause" or "step". */
export const control = (wish) => post('scenario', { do: wish });
