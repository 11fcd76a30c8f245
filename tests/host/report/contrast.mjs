// Runs in the page: the texts that are hard to read, by the contrast of WCAG 2 with what is painted behind them, and the
// curves that are hard to see.
export function faint() {
  // Computed colours are rgb(R, G, B) or rgba(R, G, B, A).
  const rgba = (colour) => colour.match(/^rgba?\((.*)\)$/)[1].split(',').map(Number);
  const luminance = (colour) => {
    const [r, g, b] = rgba(colour).map((v) => v / 255).map((v) => v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
  };
  const contrast = (a, b) => {
    const [low, high] = [luminance(a), luminance(b)].sort((x, y) => x - y);
    return (high + 0.05) / (low + 0.05);
  };
  const behind = (element) => {
    for (let e = element; e; e = e.parentElement) {
      const {backgroundColor} = getComputedStyle(e);
      if (rgba(backgroundColor).length === 3) return backgroundColor;
    }
    return 'rgb(255, 255, 255)';
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
  const drawn = [...Array.from({length: 6}, (_, i) => [`curve-${i}`, '.panel', 3]), ['muted', '.panel', 4.5], ['com', '.stage', 3]];
  for (const [name, place, least] of drawn) {
    probe.style.color = `var(--${name})`;
    check(name, getComputedStyle(probe).color, behind(document.querySelector(place)), least);
  }
  probe.remove();
  return {texts, found};
}
