// Colours of the charts: taken from the style sheet, so that page and charts share one palette and follow the theme.

const swatch = document.body.appendChild(document.createElement('span'));
swatch.hidden = true;

/** A colour of the style sheet, as the current theme has it. */
function colour(name) {
  swatch.style.color = `var(--${name})`;
  return getComputedStyle(swatch).color;
}

const evenly = (colours) => colours.map((value, i) => [i / (colours.length - 1), value]);

/** Colour scales, readable with any colour vision: their lightness alone tells the order. */
const scales = {
  velocity: () => 'Viridis',
  spread: () => 'Cividis',
  diverging: () => evenly(['low-3', 'low-2', 'low-1', 'middle', 'high-1', 'high-2', 'high-3'].map(colour)),
  semblance: () => evenly([colour('surface'), colour('ink')]),
};

/** Colours of categories; the first, the ordinary case, is quiet. */
const categoryNames = ['category-0', 'category-1', 'category-2', 'category-3', 'category-4', 'category-5', 'category-6'];
const category = (index) => colour(categoryNames[index === 0 ? 0 : 1 + ((index - 1) % (categoryNames.length - 1))]);

/** A colour scale of `count` flat steps. */
const steps = (count) =>
  Array.from({length: count}, (_, i) => [[i / count, category(i)], [(i + 1) / count, category(i)]]).flat();
