// The page: data, sections, theme, printing.

const report = JSON.parse(document.getElementById('report-data').textContent);
const byId = (id) => document.getElementById(id);

document.title = `${report.title}: velocity refinement`;
byId('title').textContent = report.title;
byId('origin').textContent = `Velocity refinement by KORVANE ${report.version}, report of ${report.generated}`;

const sections = {summary: fillSummary, velocity: fillVelocity, gathers: fillGathers, attributes: fillAttributes,
  convergence: fillConvergence};
for (const [id, fill] of Object.entries(sections)) fill(byId(id), report);

const renderAll = () => charts.forEach((chart) => chart.render());

/** Sets the theme: light, dark, or that of the system. */
function setTheme(name) {
  if (name) document.documentElement.dataset.theme = name;
  else delete document.documentElement.dataset.theme;
  renderAll();
}

/** The theme is remembered where the browser keeps anything for a page from disk. */
function remembered(key, value) {
  try {
    if (value === undefined) return localStorage.getItem(key) ?? '';
    localStorage.setItem(key, value);
  } catch {
    // without storage the next page starts with the theme of the system
  }
  return '';
}

byId('theme').value = remembered('korvane-theme');
setTheme(byId('theme').value);
byId('theme').addEventListener('change', ({target}) => {
  remembered('korvane-theme', target.value);
  setTheme(target.value);
});
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', renderAll);
narrow.addEventListener('change', renderAll);

// On paper the page is light and as wide as a sheet; charts are drawn for that width before the browser lays it out.
addEventListener('beforeprint', () => {
  document.documentElement.classList.add('printing');
  renderAll();
});
addEventListener('afterprint', () => {
  document.documentElement.classList.remove('printing');
  renderAll();
});
byId('print').addEventListener('click', async () => {
  await showAll();
  print();
});

showWhenIdle();
