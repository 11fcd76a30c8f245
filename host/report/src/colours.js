// Colours stand once, in the style sheet, for both schemes; what draws on a canvas asks here.
const scheme = matchMedia('(prefers-color-scheme: dark)');

export const onScheme = (redraw) => scheme.addEventListener('change', redraw);

export const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

// Curves and joints have a colour by their level in the limb.
const curve_colours = 6;
export const curveName = (level) => `curve-${level % curve_colours}`;
export const curveColour = (level) => colour(curveName(level));
// A seventh joint of a limb has the first one's colour and is dashed.
export const curveDash = (level) => level < curve_colours ? [] : [6, 3];
