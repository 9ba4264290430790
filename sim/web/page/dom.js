// Elements and their texts. Every text is set as text, never as markup.

export const byId = (id) => document.getElementById(id);

/** An element with classes, a text and children. */
export function make(tag, { classes = '', text, attributes = {}, children = [] } = {}) {
  const element = document.createElement(tag);
  if (classes) element.className = classes;
  if (text !== undefined) element.textContent = text;
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}

/** A text of somebody else's: kept apart, so that its direction turns nothing around it. */
export const quoted = (text, classes = '') => make('bdi', { classes, text });

/** Sets a text only where it differs, so that screen readers and the layout are left alone. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function timeOf(milliseconds, fine = true) {
  const time = new Date(milliseconds);
  const two = (n) => String(n).padStart(2, '0');
  const clock = `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`;
  return fine ? `${clock}.${String(time.getMilliseconds()).padStart(3, '0')}` : clock;
}

/** Keeps a list scrolled to its end while its reader has it there. */
export function appendFollowing(list, elements, most) {
  const atEnd = list.scrollHeight - list.scrollTop - list.clientHeight < 40;
  list.append(...elements);
  while (list.childElementCount > most) list.firstElementChild.remove();
  if (atEnd) list.scrollTop = list.scrollHeight;
}
