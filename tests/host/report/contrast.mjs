// Runs in the page: the texts that are hard to read, by the contrast of WCAG 2 with what is painted behind them, and the
// curves that are hard to see.
export function faint() {
  const canvas = document.createElement('canvas').getContext('2d', {willReadFrequently: true});
  const rgba = (colour) => {
    canvas.clearRect(0, 0, 1, 1);
    canvas.fillStyle = colour;
    canvas.fillRect(0, 0, 1, 1);
    return canvas.getImageData(0, 0, 1, 1).data;
  };
  const luminance = (colour) => {
    const [r, g, b] = [...rgba(colour)].map((v) => v / 255).map((v) => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const contrast = (a, b) => {
    const [low, high] = [luminance(a), luminance(b)].sort((x, y) => x - y);
    return (high + 0.05) / (low + 0.05);
  };
  const behind = (element) => {
    for (let e = element; e; e = e.parentElement) {
      const {backgroundColor} = getComputedStyle(e);
      if (rgba(backgroundColor)[3] === 255) return backgroundColor;
    }
    return 'white';
  };

  const found = [];
  const check = (what, colour, background, least) => {
    const ratio = contrast(colour, background);
    if (!(ratio >= least)) found.push(`${what}: ${colour} on ${background} has ${ratio.toFixed(2)}`);
  };
  let texts = 0;
  for (const element of document.querySelectorAll('body *')) {
    const has_text = [...element.childNodes].some((n) => n.nodeType === Node.TEXT_NODE && n.data.trim());
    if (!has_text || !element.checkVisibility() || element.closest('option, script, noscript')) continue;
    ++texts;
    check(element.textContent.trim().slice(0, 30), getComputedStyle(element).color, behind(element), 4.5);
  }
  const probe = document.body.appendChild(document.createElement('i'));
  const colour = (name) => {
    probe.style.color = `var(--${name})`;
    return getComputedStyle(probe).color;
  };
  const panel = behind(document.querySelector('.panel'));
  const stage = behind(document.querySelector('.stage'));
  for (let i = 0; i < 6; ++i) check(`curve ${i}`, colour(`curve-${i}`), panel, 3);
  check('axes', colour('muted'), panel, 4.5);
  check('centre of mass', colour('com'), stage, 3);
  probe.remove();
  return {texts, found};
}
