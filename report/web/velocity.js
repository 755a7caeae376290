// Velocity section: before, after, change in percent, and the spread over the azimuth sectors.

/** Ways to cut the volume: axes across and down, and the dimension that a slider goes along. */
function cutsOf(report, times) {
  const {grid} = report;
  const crosslines = {numbers: grid.crosslines, title: grid.kind === '2D' ? 'CDP' : 'Crossline'};
  const inlines = {numbers: grid.inlines, title: 'Inline'};
  const along = (across, fixed, index) =>
    ({across, down: {numbers: times, title: 'Time', unit: ' ms'}, fixed, index, layout: {yaxis: timeAxis}});
  return {
    inline: along(crosslines, inlines, (sector, at) => [sector, at, null, null]),
    crossline: along(inlines, crosslines, (sector, at) => [sector, null, at, null]),
    time: {
      across: crosslines, down: inlines, fixed: {numbers: times, title: 'Time', unit: ' ms'},
      index: (sector, at) => [sector, null, null, at], layout: {yaxis: {title: titled('Inline')}},
    },
  };
}

function fillVelocity(section, report) {
  const {velocity, grid, sectors, units} = report;
  const unit = units.velocity;
  const cuts = cutsOf(report, timesOf(velocity.times));
  const state = {cut: 'inline', at: 0, sector: 0, arrangement: 'beside'};
  let view = null;     // what is shown: planes of [down][across]
  let scale = null;    // ranges that hold for every cut
  let pending = null;  // the view under way, one for all charts

  const prepare = async () => {
    const [before, after] = await Promise.all([unpack(velocity.before), unpack(velocity.after)]);
    scale ??= scaleOf(before, after);
    view = viewOf(cuts[state.cut], state, before, after);
    if (probe.used) read();
  };
  const load = () => (pending ??= prepare());
  const refresh = () => {
    pending = null;
    shown.forEach((at) => at.refresh());
  };

  const chart = (title, key, colours, range, unitText, text) => new Chart(title, load, () => {
    if (!view[key]) return velocity.note;
    const {across, down, layout} = view.cut;
    return {
      data: [heatmap({x: across.numbers, y: down.numbers, z: view[key], scale: colours(), range: range(), unit: unitText,
        text: `${across.title} %{x}<br>${down.title} %{y}${down.unit ?? ''}<br>${text}`})],
      layout: {...layout, xaxis: {title: titled(across.title), showgrid: false}, uirevision: state.cut},
    };
  });
  const speed = (title, key) =>
    chart(title, key, scales.velocity, () => view.range ?? scale.velocity, unit, `%{z:.0f} ${unit}`);
  const shown = [
    speed('Before', 'before'),
    speed('After', 'after'),
    chart('Change', 'change', scales.diverging, () => [-scale.change, scale.change], '%', '%{z:+.2f} %'),
  ];
  if (sectors.length > 1) {
    shown.push(chart('Spread over the azimuth sectors, after', 'spread', scales.spread, () => [0, scale.spread], '%',
      '%{z:.2f} % of the mean'));
  }

  const readout = element('p', {class: 'readout', 'aria-live': 'polite'});
  const hint = grid.kind === '2D' ? 'Point at a section, or move through it with the arrow keys, to read values.'
    : 'Point at a section or slice, or move through it with the arrow keys, to read values.';
  readout.textContent = hint;
  const probe = {across: 0, down: 0, used: false};
  const read = () => {
    const {across, down, fixed} = view.cut;
    probe.used = true;
    probe.across = Math.min(probe.across, across.numbers.length - 1);  // another view may be smaller
    probe.down = Math.min(probe.down, down.numbers.length - 1);
    const value = (key) => view[key]?.[probe.down][probe.across];
    const named = ({title, numbers, unit = ''}, at) => `${title} ${numbers[at]}${unit}`;
    const place = [named(across, probe.across), named(down, probe.down), ...(grid.kind === '2D' ? [] : [named(fixed, state.at)])];
    const values = [`before ${figure(value('before'))} ${unit}`];
    if (view.after) values.push(`after ${figure(value('after'))} ${unit}`, `change ${figure(value('change'), 2, 'exceptZero')} %`);
    if (view.spread) values.push(`spread ${figure(value('spread'), 2)} %`);
    readout.textContent = `${place.join(', ')}: ${values.join(', ')}`;
  };
  linkCharts(shown, ['xaxis', 'yaxis'], (x, y) => {
    probe.across = view.cut.across.numbers.indexOf(x);
    probe.down = view.cut.down.numbers.indexOf(y);
    read();
  });
  for (const at of shown) moveByKeys(at, probe, () => view.cut, read);

  const panels = element('div', {class: `panels of-${shown.length}`}, ...shown.map((at) => at.figure));
  const place = element('span', {class: 'contents'});
  const placeSlider = () => {
    const {fixed} = cuts[state.cut];
    state.at = Math.floor(fixed.numbers.length / 2);
    place.replaceChildren(slider(fixed.title, state, 'at', fixed.numbers.length,
      (at) => `${fixed.numbers[at]}${fixed.unit ?? ''}`, refresh));
  };
  const controls = [];
  if (grid.kind === '3D') {
    placeSlider();
    controls.push(choice('View', state, 'cut', [['inline', 'along an inline'], ['crossline', 'along a crossline'],
      ['time', 'time slice']], () => { placeSlider(); refresh(); }), place);
  }
  controls.push(...sectorChoice(report, state, refresh));
  const arrangement = choice('Arrange', state, 'arrangement', [['beside', 'side by side'], ['stacked', 'one below the other']],
    () => panels.classList.toggle('stacked', state.arrangement === 'stacked'));
  arrangement.classList.add('wide-only');
  section.append(element('div', {class: 'controls'}, ...controls, arrangement));
  section.append(readout, panels);
}

/** Ranges of the colour scales over the whole volume. */
function scaleOf(before, after) {
  const ends = [before, after].filter(Boolean);
  const scale = {velocity: [Math.min(...ends.map((at) => at.min)), Math.max(...ends.map((at) => at.max))]};
  if (!after) return scale;
  const changes = [];
  const spreads = [];
  const [sectors, inlines, crosslines, times] = after.shape;
  const positions = inlines * crosslines * times;
  const stride = strideOver(positions, 20000, times);
  const sectorsBefore = before.shape[0];
  for (let i = 0; i < positions; i += stride) {
    const values = Array.from({length: sectors}, (_, sector) => after.at(sector * positions + i));
    values.forEach((value, sector) => {
      changes.push(percentChange(before.at((sectorsBefore === 1 ? 0 : sector) * positions + i), value));
    });
    if (sectors > 1) spreads.push(percentSpread(values));
  }
  return {...scale, change: spreadAroundZero(changes), spread: spreadAroundZero(spreads)};
}

/** Largest minus smallest of the values that are there, percent of their mean. */
function percentSpread(values) {
  const there = values.filter(Number.isFinite);
  if (!there.length) return NaN;
  return (100 * (Math.max(...there) - Math.min(...there)) * there.length) / there.reduce((a, b) => a + b);
}

/** The planes of one cut. */
function viewOf(cut, {cut: name, sector, at}, before, after) {
  // Indices run inlines, crosslines, times; a section wants time down, a slice is right as it is.
  const plane = (values, s) => {
    const rows = values.cut(cut.index(Math.min(s, values.shape[0] - 1), at));
    return name === 'time' ? rows : transposed(rows);
  };
  const view = {cut, before: plane(before, sector)};
  if (after) {
    view.after = plane(after, sector);
    view.change = combined(view.before, view.after, percentChange);
    if (after.shape[0] > 1) {
      const planes = Array.from({length: after.shape[0]}, (_, s) => plane(after, s));
      view.spread = planes[0].map((row, j) => row.map((_, i) => percentSpread(planes.map((rows) => rows[j][i]))));
    }
  }
  if (name === 'time') {  // velocities of one time differ little: the scale is that of the slice
    const values = [view.before, view.after].filter(Boolean).flat().flatMap((row) => [...row]);
    view.range = [quantile(values, 0), quantile(values, 1)];
  }
  return view;
}

/** Arrow keys move the probe over a chart. */
function moveByKeys(chart, probe, cut, moved) {
  const moves = {ArrowLeft: ['across', -1], ArrowRight: ['across', 1], ArrowUp: ['down', -1], ArrowDown: ['down', 1]};
  chart.plot.tabIndex = 0;
  chart.plot.setAttribute('role', 'group');
  chart.plot.setAttribute('aria-label', `${chart.caption.textContent}: read values with the arrow keys, faster with shift`);
  chart.plot.addEventListener('keydown', (event) => {
    const move = moves[event.key];
    if (!move || !chart.drawn) return;
    event.preventDefault();
    const [way, by] = move;
    const last = cut()[way].numbers.length - 1;
    const upwards = way === 'down' && cut().layout.yaxis.autorange !== 'reversed';  // times grow downwards, inlines do not
    probe[way] = Math.min(last, Math.max(0, probe[way] + by * (upwards ? -1 : 1) * (event.shiftKey ? 10 : 1)));
    Plotly.Fx.hover(chart.plot, {xval: cut().across.numbers[probe.across], yval: cut().down.numbers[probe.down]}, 'xy');
    moved();
  });
}
