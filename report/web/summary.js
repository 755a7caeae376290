// Summary: figures that tell at a glance, warnings, passes, tables.

function fillSummary(section, report) {
  const {convergence, units} = report;
  const tiles = keyFigures(report);
  if (tiles.length) section.append(element('dl', {class: 'tiles'}, ...tiles));
  if (report.warnings.length) {
    section.append(element('div', {class: 'warnings'},
      element('h3', {}, report.warnings.length === 1 ? 'One warning' : `${report.warnings.length} warnings`),
      element('ul', {}, ...report.warnings.map((text) => element('li', {}, text)))));
  }
  const tables = report.summary.map(({heading, rows}) => table(heading, rows));
  if (convergence.passes?.length) tables.push(passTable(convergence.passes));
  section.append(element('div', {class: 'tables'}, ...tables));
  section.append(paragraph(`Velocities in ${units.velocity}, offsets in ${units.length}, times in ms.`, 'hint'));
}

/** Tiles of a name, a figure and what it says. */
function keyFigures({velocity, convergence: {passes, flatness}}) {
  const tile = (name, value, words) =>
    element('div', {}, element('dt', {}, name), element('dd', {}, element('strong', {}, value), ' ', words));
  const tiles = [];
  if (velocity.after && flatness.length) {
    const flatter = flatness.filter((at) => flatnessChange(at) > 0).length;
    const median = (key) => figure(quantile(flatness.map((at) => at[key]), 0.5), 2);
    tiles.push(tile('Flatness of the gathers', `${median('before')} → ${median('after')}`, 'median semblance, before and after'));
    tiles.push(tile('Flatter than before', `${figure((100 * flatter) / flatness.length)} %`, `of ${figure(flatness.length)} gathers measured`));
  }
  if (passes?.length) {
    const last = passes.at(-1);
    tiles.push(tile('Last revision', `${figure(last.rms, 2)} %`, `of velocity, RMS; the first ${figure(passes[0].rms, 2)} %`));
    tiles.push(tile('At a limit', `${figure(100 * last.limited, 1)} %`, 'of the samples, last pass'));
  }
  return tiles;
}

function passTable(passes) {
  const head = ['Pass', 'Time, s', 'Traces', 'Traces/s', 'Functions revised', 'Mean revision, %', 'RMS revision, %', 'Samples at a limit, %'];
  const rows = passes.map((at) => [at.pass, figure(at.seconds, 1), figure(at.traces), figure(at.traces / at.seconds), figure(at.revised),
    figure(at.mean, 2, 'exceptZero'), figure(at.rms, 2), figure(100 * at.limited, 1)]);
  return table('Passes', rows, {head, style: 'numbers'});
}
