const fill = (made, attributes, children) => {
  for (const [attribute, value] of Object.entries(attributes)) made.setAttribute(attribute, value);
  made.append(...children);
  return made;
};

// An element with attributes and children, which are text or elements.
export const element = (name, attributes = {}, ...children) => fill(document.createElement(name), attributes, children);
export const shape = (name, attributes = {}, ...children) =>
    fill(document.createElementNS('http://www.w3.org/2000/svg', name), attributes, children);
