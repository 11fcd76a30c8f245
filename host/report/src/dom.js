// An element with attributes and children, which are text or elements.
export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [attribute, value] of Object.entries(attributes)) made.setAttribute(attribute, value);
  made.append(...children);
  return made;
}
