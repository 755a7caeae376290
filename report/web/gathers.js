// Gather viewer: one gather moved out with both velocity functions, the functions, and the semblance.

function fillGathers(section, report) {
  const {gathers, velocity} = report;
  if (!gathers.length) {
    section.append(paragraph('The report holds no gathers.', 'note'));
    return;
  }
  const {length, velocity: speed} = report.units;
  const state = {gather: 0, display: 'wiggle', along: 'offset', gain: 3};
  const gather = () => gathers[state.gather];

  let pending = null;
  const prepare = async () => {
    const view = await prepareGather(gather(), state.along);
    hint.textContent = limitsInWords([...view.before.limits, ...view.after.limits]);
    return view;
  };
  const load = () => (pending ??= prepare());
  const moved = (title, key) => new Chart(title, load, (view) => {
    if (!velocity[key]) return velocity.note;
    const panel = view[key];
    const {positions, labels, spacing} = panel;
    const wiggles = state.display === 'wiggle';
    const data = wiggles ? wigglesOf(panel, view.times, view.loud / GAINS[state.gain])
      : [heatmap({x: positions, y: view.times, z: transposed(panel.traces), scale: scales.diverging(),
        range: [-1, 1].map((end) => (end * view.loud) / GAINS[state.gain]), unit: '', bar: false,
        text: `${panel.name} %{customdata} ${panel.unit}<br>Time %{y} ms<br>Amplitude %{z:.3g}`})];
    if (!wiggles) data[0].customdata = view.times.map(() => labels);
    for (const limit of panel.limits) {
      data.push({type: 'scatter', mode: 'lines', x: limit.x, y: limit.y, line: {color: colour('caution'), width: 2, dash: 'dot'},
        hovertemplate: `Angle limit ${limit.angle}°<br>Time %{y} ms<extra></extra>`});
    }
    return {data, layout: {
      margin: {t: 48, b: 12},
      xaxis: {side: 'top', title: titled(`${panel.name}, ${panel.unit}`), showgrid: false,
        range: [positions[0] - spacing / 2, positions.at(-1) + spacing / 2], nticks: 7, ...panel.ticks},
      yaxis: {...timeAxis, range: [view.times.at(-1), view.times[0]], autorange: false},
      uirevision: `${state.gather}`,
    }};
  });

  const functionAxes = (xaxis) => ({
    margin: {t: 48, b: 12}, legend: {y: 0, x: 0.02, xanchor: 'left', yanchor: 'bottom', orientation: 'v', bgcolor: colour('surface')},
    xaxis: {side: 'top', title: titled(`Velocity, ${speed}`), nticks: 5, ...xaxis},
    yaxis: {...timeAxis, range: [gather().times.start + (gather().times.count - 1) * gather().times.step, gather().times.start],
      autorange: false},
    uirevision: `${state.gather}`,
  });
  const lines = (edged) => functionLines(gather().functions, ['before', 'after'].filter((key) => velocity[key]), speed, edged);
  const functions = new Chart('Velocity functions', load, () =>
    ({data: lines(false), layout: {...functionAxes({}), showlegend: true}}));
  const semblance = new Chart('Semblance', load, ({semblance: values}) => {
    const {semblance} = gather();
    const greatest = quantile(values.sample(Infinity), 1) || 1;
    const map = heatmap({x: semblance.velocities, y: timesOf(semblance.times), z: transposed(values.cut([null, null])),
      scale: scales.semblance(), range: [0, greatest], unit: '',
      text: `Velocity %{x:.0f} ${speed}<br>Time %{y} ms<br>Semblance %{z:.2f}`});
    return {data: [map, ...lines(true)],
      layout: functionAxes({range: [semblance.velocities[0], semblance.velocities.at(-1)], showgrid: false})};
  });

  const shown = [moved('Moved out, velocity before', 'before'), moved('Moved out, velocity after', 'after'),
    functions, semblance];
  linkCharts(shown, ['yaxis']);

  const inWords = () => flatnessInWords(gather().flatness, velocity.after);
  const words = element('p', {'aria-live': 'polite'}, inWords());
  const hint = paragraph('', 'hint');
  const refresh = () => {
    pending = null;
    words.textContent = inWords();
    shown.forEach((at) => at.refresh());
  };
  const name = (at) => [at.label, report.grid.kind === '3D' ? `inline ${at.inline}, crossline ${at.crossline}` : null,
    `CDP ${at.cdp}`, report.sectors.length > 1 ? `sector ${report.sectors[at.sector]}°` : null].filter(Boolean).join(', ');
  section.append(
    element('div', {class: 'controls'},
      choice('Gather', state, 'gather', gathers.map((at, i) => [i, name(at)]), refresh),
      choice('Show as', state, 'display', [['wiggle', 'wiggles, filled'], ['density', 'colours']], refresh),
      choice('Along the top', state, 'along', [['offset', `offset, ${length}`], ['angle', 'angle, degrees']], refresh),
      slider('Gain', state, 'gain', GAINS.length, (at) => `× ${GAINS[at]}`, refresh)),
    words,
    element('div', {class: 'panels gather'}, ...shown.map((at) => at.figure)),
    hint);

  /** What the panels of a gather show. */
  async function prepareGather(at, along) {
    const parts = [at.before, at.after, at.angles.before, at.angles.after, at.semblance.values];
    const [before, after, anglesBefore, anglesAfter, semblance] = await Promise.all(parts.map(unpack));
    const times = timesOf(at.times);
    const panelOf = along === 'angle' ? anglePanel : offsetPanel;
    const panel = (traces, angles) => panelOf(at, traces.cut([null, null]), anglesAt(at, angles, times), times, length);
    const loud = quantile([...before.sample(20000), ...after.sample(20000)].map(Math.abs), 0.98) || 1;
    return {times, loud, semblance, before: panel(before, anglesBefore), after: panel(after, anglesAfter)};
  }
}

/** Gains of the slider: the amplitude that 98 % of the samples stay below reaches the next trace at 1. */
const GAINS = [0.25, 0.5, 0.7, 1, 1.4, 2, 3, 4, 6];

function flatnessInWords(flatness, refined) {
  const before = `Flatness (semblance of the moved-out gather): ${figure(flatness.before, 2)} before`;
  if (!refined) return `${before}.`;
  const change = flatnessChange(flatness);
  const verdict = change ? `${change > 0 ? 'flatter' : 'less flat'} by ${figure(Math.abs(change))} %` : 'as flat as before';
  return `${before}, ${figure(flatness.after, 2)} after; ${verdict}.`;
}

/** Names the limits that are drawn. */
function limitsInWords(limits) {
  const angles = [...new Set(limits.map(({angle}) => `${angle}°`))];
  if (!angles.length) return '';
  return `Dotted lines mark the ${angles.length > 1 ? 'angle limits' : 'angle limit'}, ${angles.join(' and ')}.`;
}

/** Lines of the angle limits that a gather reaches; `across` gives their places. */
const limitLines = ({angleLimits}, times, across) => angleLimits.map(rounded).map((angle) => ({angle, x: across(angle), y: times}))
  .filter(({x}) => x.some((at) => at !== null));

/** Angles [trace][time] at the times of the gather, from their coarser sampling. */
function anglesAt({angleTimes}, angles, times) {
  const weights = times.map((time) => {
    const at = Math.min(Math.max((time - angleTimes.start) / angleTimes.step, 0), angleTimes.count - 1);
    const first = Math.min(Math.floor(at), Math.max(angleTimes.count - 2, 0));
    return [first, Math.min(first + 1, angleTimes.count - 1), at - first];
  });
  return angles.cut([null, null]).map((row) =>
    Float32Array.from(weights, ([a, b, part]) => (part ? row[a] + part * (row[b] - row[a]) : row[a])));
}

const byOffset = ({offsets}) => [...offsets.keys()].sort((a, b) => Math.abs(offsets[a]) - Math.abs(offsets[b]));

/** Traces beside each other in order of offset; angle limits run across them. */
function offsetPanel(at, traces, angles, times, unit) {
  const order = byOffset(at);
  const sorted = order.map((i) => angles[i]);
  const labels = order.map((i) => `${Math.round(Math.abs(at.offsets[i]))}`);
  const ticked = [...order.keys()].filter((i) => i % Math.ceil(order.length / (narrow.matches ? 5 : 7)) === 0);
  return {
    name: 'Offset', unit, traces: order.map((i) => traces[i]), positions: [...order.keys()], spacing: 1, labels,
    ticks: {tickvals: ticked, ticktext: ticked.map((i) => labels[i])},
    limits: limitLines(at, times, (angle) => times.map((_, j) => crossing(sorted.map((row) => row[j]), angle))),
  };
}

/** Where rising values reach `level`, above a position and not beyond the next; null where they do not. */
function crossing(values, level) {
  const next = values.findIndex((value) => value >= level);
  if (next < 1) return null;
  const [low, high] = [values[next - 1], values[next]];
  return Number.isFinite(low) ? next - 1 + (level - low) / (high - low) : null;
}

/** Traces of equal angle, as many as the gather has, each sample between those of the two nearest angles. */
function anglePanel(at, traces, angles, times) {
  const order = byOffset(at);
  const widest = Math.min(quantile(angles.flatMap((row) => [...row]), 1), 1.5 * (at.angleLimits[1] || 60));
  const count = Math.max(order.length, 2);
  const spacing = widest / (count - 1);
  const degrees = Array.from({length: count}, (_, i) => i * spacing);
  const made = degrees.map(() => new Float32Array(times.length).fill(NaN));
  for (let j = 0; j < times.length; ++j) {
    const column = order.map((i) => angles[i][j]);
    degrees.forEach((angle, k) => {
      const place = crossing(column, angle);
      if (place === null) return;
      const next = Math.ceil(place);
      const [a, b] = [traces[order[next - 1]][j], traces[order[next]][j]];
      made[k][j] = b + (next - place) * (a - b);
    });
  }
  return {
    name: 'Angle', unit: 'degrees', traces: made, positions: degrees, spacing, labels: degrees.map((angle) => figure(angle, 1)),
    limits: limitLines(at, times, (angle) => times.map(() => (angle <= widest ? angle : null))),
  };
}

/** Wiggles whose amplitude `loud` reaches the next trace, positive lobes filled. */
function wigglesOf({traces, positions, spacing}, times, loud) {
  const line = {x: [], y: []};
  const lobes = {x: [], y: []};
  const put = (curve, x, y) => {
    curve.x.push(x);
    curve.y.push(y);
  };
  traces.forEach((trace, i) => {
    const base = positions[i];
    const swing = (value) => spacing * Math.min(Math.max(value / loud, -2), 2);
    let open = false;
    for (let j = 0; j <= times.length; ++j) {
      const live = j < times.length && Number.isFinite(trace[j]);
      if (live) {
        if (!open) put(lobes, base, times[j]);
        put(lobes, base + Math.max(swing(trace[j]), 0), times[j]);
        put(line, base + swing(trace[j]), times[j]);
      } else if (open) {
        put(lobes, base, times[j - 1]);
        put(lobes, null, null);
        put(line, null, null);
      }
      open = live;
    }
  });
  const ink = colour('ink');
  return [
    {type: 'scatter', mode: 'lines', ...lobes, fill: 'toself', fillcolor: ink, line: {width: 0}, hoverinfo: 'skip'},
    {type: 'scatter', mode: 'lines', ...line, line: {color: ink, width: 0.7}, hoverinfo: 'skip'},
  ];
}

/** Lines of the velocity functions `keys`, on a map with an edge that sets them off. */
function functionLines(functions, keys, speed, edged) {
  const y = timesOf(functions.times);
  return keys.flatMap((key) => {
    const line = {type: 'scatter', mode: 'lines', name: key, x: functions[key], y,
      line: {color: colour(key), width: 2, dash: key === 'before' ? 'dash' : 'solid'},
      hovertemplate: `${key} %{x:.0f} ${speed}<br>Time %{y} ms<extra></extra>`};
    const edge = {...line, line: {color: colour('surface'), width: 5}, hoverinfo: 'skip', hovertemplate: null};
    return edged ? [edge, line] : [line];
  });
}
