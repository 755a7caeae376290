// Attributes: intercept A and gradient B along a line, their crossplot, and the velocity ratio of the last revision.

function fillAttributes(section, report) {
  const {attributes, grid, sectors} = report;
  if (attributes.note) {
    section.append(paragraph(attributes.note, 'note'));
    return;
  }
  const {lines, crossplot} = attributes;
  const state = {line: 0};
  const across = grid.kind === '2D' ? 'CDP' : 'Crossline';
  const map = (title, key, missing, {unit, text, shift = 0, factor = 1}) => {
    const load = () => unpack(lines[state.line][key]);
    return new Chart(title, load, (values) => {
      if (!values) return missing;
      const line = lines[state.line];
      const shown = (value) => factor * (value - shift);
      const z = transposed(values.cut([null, null])).map((row) => row.map(shown));
      const width = spreadAroundZero(values.sample(20000).map(shown));
      return {
        data: [heatmap({x: line.crosslines, y: timesOf(line.times), z, scale: scales.diverging(), range: [-width, width], unit,
          text: `${across} %{x}<br>Time %{y} ms<br>${text}`})],
        layout: {xaxis: {title: titled(across), showgrid: false}, yaxis: timeAxis, uirevision: 'line'},
      };
    });
  };
  const maps = [
    map('Intercept A', 'intercept', 'The intercept was not written.', {unit: '', text: 'A %{z:.3g}'}),
    map('Gradient B', 'gradient', 'The gradient was not written.', {unit: '', text: 'B %{z:.3g}'}),
    map('Velocity ratio of the last revision, less 1', 'ratio', 'The velocity ratio was not written.',
      {unit: '%', text: 'revised by %{z:+.2f} %', shift: 1, factor: 100}),
  ];
  linkCharts(maps, ['xaxis', 'yaxis']);
  const cross = new Chart('Crossplot of A and B', () => null, () => {
    const {a, b, trend} = crossplot;
    if (!a.length) return 'There are no samples to plot B against A.';
    const ends = [quantile(a, 0), quantile(a, 1)];
    const data = [
      {type: 'scatter', mode: 'markers', x: a, y: b, marker: {size: 4, color: colour('after'), opacity: 0.35},
        hovertemplate: 'A %{x:.3g}<br>B %{y:.3g}<extra></extra>'},
      {type: 'scatter', mode: 'lines', x: ends, y: ends.map((x) => trend.slope * x + trend.offset), hoverinfo: 'skip',
        line: {color: colour('before'), width: 2}},
    ];
    const words = `trend: B = ${figure(trend.slope, 2)} A ${trend.offset < 0 ? '−' : '+'} ${Math.abs(trend.offset).toPrecision(2)}`;
    const zero = {zeroline: true, zerolinecolor: colour('muted')};
    return {data, layout: {xaxis: {title: titled('A, amplitude'), ...zero}, yaxis: {title: titled('B, amplitude'), ...zero},
      annotations: [{text: words, xref: 'paper', yref: 'paper', x: 1, y: 1, xanchor: 'right', yanchor: 'top', showarrow: false,
        bgcolor: colour('page'), borderpad: 3}]}};
  });
  if (lines.length > 1) {
    const name = (line) => [grid.kind === '3D' ? `inline ${line.inline}` : null,
      sectors.length > 1 ? `sector ${sectors[line.sector]}°` : null].filter(Boolean).join(', ') || 'line';
    section.append(element('div', {class: 'controls'},
      choice('Line', state, 'line', lines.map((line, i) => [i, name(line)]), () => maps.forEach((at) => at.refresh()))));
  }
  section.append(element('div', {class: 'panels'}, ...[...maps, cross].map((at) => at.figure)));
}
