export function set(made, attributes) {
  for (const [attribute, value] of Object.entries(attributes)) made.setAttribute(attribute, value);
}
function fill(made, attributes, children) {
  set(made, attributes);
  made.append(...children);
  return made;
}

// An element with attributes and children, which are text or elements.
export const element = (name, attributes = {}, ...children) => fill(document.createElement(name), attributes, children);
export const shape = (name, attributes = {}, ...children) =>
    fill(document.createElementNS('http://www.w3.org/2000/svg', name), attributes, children);
// The style of an element that shows a colour of the style sheet.
export const inColour = (name) => `--own: var(--${name})`;
export function button(attributes, press, ...children) {
  const made = element('button', {type: 'button', ...attributes}, ...children);
  made.addEventListener('click', press);
  return made;
}

// Calls what `keys` has for a key that is pressed alone or with shift, unless it is `kept` for the element it goes to.
export function onKeys(target, keys, kept = () => false) {
  target.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || !Object.hasOwn(keys, event.key) || kept(event)) return;
    event.preventDefault();
    event.stopPropagation();
    keys[event.key](event);
  });
}
