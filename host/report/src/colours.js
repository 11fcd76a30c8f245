// Colours stand once, in the style sheet, for both schemes; what draws on a canvas asks here.
const scheme = matchMedia('(prefers-color-scheme: dark)');

export const onScheme = (redraw) => scheme.addEventListener('change', redraw);

export const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

const curve_colours = 6;
export const curveColour = (level) => colour(`curve-${level % curve_colours}`);
// A seventh joint of a limb has the first one's colour and is dashed.
export const curveDash = (level) => level < curve_colours ? [] : [6, 3];
