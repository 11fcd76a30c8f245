// Colours stand once, in the style sheet, for both schemes; what draws on a canvas asks here.
import {element} from './dom.js';
import {Value} from './state.js';

// Paper is light.
const dark = matchMedia('screen and (prefers-color-scheme: dark)');
export const scheme = new Value(dark.matches);
dark.addEventListener('change', () => scheme.value = dark.matches);

const probe = document.body.appendChild(element('i', {hidden: ''}));
export function colour(name) {
  probe.style.color = `var(--${name})`;
  return getComputedStyle(probe).color;
}

// Curves and joints have a colour by their level in the limb.
const curve_colours = 6;
export const curveName = (level) => `curve-${level % curve_colours}`;
