// Convergence: how large the revisions were, where they met a limit, where there were none and why, and how flat the
// gathers became.

function fillConvergence(section, report) {
  const {convergence, velocity} = report;
  const drawings = convergence.note ? [] : passCharts(section, report);
  if (convergence.note) section.append(paragraph(convergence.note, 'note'));
  if (velocity.after) drawings.push(flatnessScatter(convergence.flatness), flatnessPlaces(report));
  section.append(element('div', {class: 'panels'}, ...drawings.map((at) => at.figure)));
}

/** Charts of the passes of the run, behind their controls. */
function passCharts(section, report) {
  const {convergence: {passes, revision}, grid} = report;
  const count = revision?.shape[0] ?? 0;
  const state = {sector: 0, range: 'all', pass: count - 1};
  const sized = passMap(report, state, 'revision', 'RMS revision of the pass, %', 'RMS revision, %', 'revised by %{z:.2f} %');
  const limited = passMap(report, state, 'limited', 'Samples at a limit in the pass, %', 'at a limit, %', '%{z:.0f} % at a limit');
  const maps = [sized, limited];
  const reasoned = reasonMap(report, state);
  const controls = sectorChoice(report, state, () => [...maps, reasoned].forEach((at) => at.refresh()));
  if (count > 1) {
    controls.unshift(slider('Pass', state, 'pass', count, (at) => `${passes[at].pass} of ${count}`,
      () => maps.forEach((at) => at.refresh())));
    if (grid.kind === '3D') {
      controls.push(choice('Colours over', state, 'range', [['all', 'all passes'], ['pass', 'this pass']], () => maps.forEach((at) => at.refresh())));
    }
  }
  section.append(element('div', {class: 'controls'}, ...controls));
  return [
    passCurve('Size of the revision per pass', passes, 'of velocity, %', [['RMS', 'rms', 'ink', 'solid'], ['mean', 'mean', 'muted', 'dash']]),
    passCurve('Samples at a limit per pass', passes, 'of the samples, %', [['at a limit', 'limited', 'ink', 'solid']], 100),
    ...maps, reasoned,
  ];
}

function passCurve(title, passes, unit, curves, factor = 1) {
  return new Chart(title, () => null, () => {
    if (!passes.length) return 'The passes were not recorded.';
    const x = passes.map((at) => at.pass);
    return {
      data: curves.map(([name, key, ink, dash]) => ({
        type: 'scatter', mode: 'lines+markers', name, x, y: passes.map((at) => factor * at[key]), line: {color: colour(ink), dash, width: 2},
        marker: {size: 7}, hovertemplate: `Pass %{x}<br>${name} %{y:.2f} %<extra></extra>`})),
      layout: {showlegend: curves.length > 1, margin: {t: 28}, xaxis: {title: titled('Pass'), dtick: Math.ceil(x.length / 12), showgrid: false},
        yaxis: {title: titled(unit), rangemode: 'tozero', zeroline: true}},
    };
  });
}

/** A curve, and dots for the points that no line joins to another. */
function curve(trace) {
  const there = (i) => Number.isFinite(trace.y[i]);
  const alone = Array.from(trace.y, (value, i) => (there(i - 1) || there(i + 1) ? null : value));
  return [{...trace, type: 'scatter', mode: 'lines'},
    {...trace, type: 'scatter', mode: 'markers', y: alone, marker: {size: 5, color: trace.line.color}, showlegend: false}];
}

/** A percentage of every function in one pass: a curve along a line, a map over a grid. */
function passMap({convergence, grid}, state, key, title, axis, text) {
  return new Chart(title, () => unpack(convergence[key]), (values) => {
    if (!values) return 'The passes were not recorded.';
    const sector = Math.min(state.sector, values.shape[1] - 1);
    const all = quantile(values.sample(1e6), 1) || 1;
    if (grid.kind === '3D') {
      const rows = values.cut([state.pass, sector, null, null]);
      const top = state.range === 'all' ? all : quantile(rows.flatMap((row) => [...row]), 1) || all;
      return overGrid(grid, rows, {scale: scales.velocity(), range: [0, top], unit: '%', text});
    }
    const passes = [...Array(values.shape[0]).keys()];
    const along = (pass, line) => curve({x: grid.crosslines, y: values.cut([pass, sector, 0, null]), line,
      hovertemplate: `CDP %{x}<br>pass ${pass + 1}: ${text.replace('%{z', '%{y')}<extra></extra>`});
    return {
      data: [...passes.filter((pass) => pass !== state.pass).flatMap((pass) => along(pass, {color: colour('faint'), width: 1})),
        ...along(state.pass, {color: colour('after'), width: 2})],
      layout: {xaxis: {title: titled('CDP')}, yaxis: {title: titled(axis), range: [0, 1.05 * all]}, uirevision: key},
    };
  });
}

/** Why nothing was revised: a map of reasons with a key that counts them. */
function reasonMap({convergence, grid, sectors}, state) {
  const {reasons} = convergence;
  const key = element('ul', {class: 'key'});
  const chart = new Chart('Where nothing was revised, and why', () => unpack(convergence.reason), (values) => {
    key.replaceChildren();
    if (!values) return 'The reasons were not recorded.';
    const cut = grid.kind === '3D' ? [Math.min(state.sector, values.shape[0] - 1), null, null] : [null, 0, null];
    const rows = values.cut(cut).map((row) => row.map(Math.round));
    const counts = reasons.map((_, i) => rows.reduce((sum, row) => sum + row.filter((value) => value === i).length, 0));
    const total = counts.reduce((a, b) => a + b, 0) || 1;
    key.append(...reasons.map((text, i) => [text, i]).filter(([, i]) => counts[i]).map(([text, i]) =>
      element('li', {}, element('span', {style: `background: ${category(i)}`}), `${text}: ${figure(counts[i])} (${figure((100 * counts[i]) / total, 1)} %)`)));
    const look = {scale: steps(reasons.length), range: [-0.5, reasons.length - 0.5], unit: '', bar: false, text: '%{customdata}'};
    const drawing = grid.kind === '3D' ? overGrid(grid, rows, look) : {
      data: [heatmap({x: grid.crosslines, y: sectors.map((name) => (name ? `${name}°` : 'line')), z: rows, ...look, text: `CDP %{x}<br>${look.text}`})],
      layout: {margin: sectors.length > 1 ? {l: 84} : {}, xaxis: {title: titled('CDP'), showgrid: false}, yaxis: {type: 'category', showgrid: false,
        ...(sectors.length > 1 ? {title: titled('Azimuth sector')} : {showticklabels: false, ticks: ''})}},
    };
    drawing.data[0].customdata = rows.map((row) => Array.from(row, (value) => reasons[value] ?? ''));
    drawing.data[0].zsmooth = false;
    return drawing;
  });
  chart.figure.append(key);
  return chart;
}

/** A map over the grid of a 3D survey. */
function overGrid(grid, rows, look) {
  return {
    data: [heatmap({x: grid.crosslines, y: grid.inlines, z: rows, ...look, text: `Inline %{y}, crossline %{x}<br>${look.text}`})],
    layout: {xaxis: {title: titled('Crossline'), showgrid: false}, yaxis: {title: titled('Inline'), showgrid: false}, uirevision: 'grid'},
  };
}

const UNMEASURED = 'The flatness of the gathers was not measured.';

function flatnessScatter(flatness) {
  return new Chart('Flatness after against before', () => null, () => {
    if (!flatness.length) return UNMEASURED;
    const [x, y] = ['before', 'after'].map((key) => flatness.map((at) => at[key]));
    const ends = [quantile([...x, ...y], 0), quantile([...x, ...y], 1)];
    const room = 0.05 * (ends[1] - ends[0] || 1);
    const range = [ends[0] - room, ends[1] + room];
    return {
      data: [
        {type: 'scatter', mode: 'lines', x: range, y: range, line: {color: colour('muted'), width: 1, dash: 'dot'}, hoverinfo: 'skip'},
        {type: 'scatter', mode: 'markers', x, y, marker: {size: 6, color: colour('after'), opacity: 0.6}, customdata: flatness.map((at) => at.cdp),
          hovertemplate: 'CDP %{customdata}<br>before %{x:.3f}<br>after %{y:.3f}<extra></extra>'},
      ],
      layout: {xaxis: {title: titled('Semblance before'), range}, yaxis: {title: titled('Semblance after'), range},
        annotations: [{text: 'flatter', xref: 'paper', yref: 'paper', x: 0.04, y: 0.96, showarrow: false, font: {color: colour('muted')}},
          {text: 'less flat', xref: 'paper', yref: 'paper', x: 0.96, y: 0.04, showarrow: false, font: {color: colour('muted')}}]},
    };
  });
}

/** Flatness along a line, or its change over a grid. */
function flatnessPlaces({convergence: {flatness}, grid}) {
  const title = grid.kind === '3D' ? 'Change of flatness over the grid, semblance after less before' : 'Flatness along the line';
  return new Chart(title, () => null, () => {
    if (!flatness.length) return UNMEASURED;
    if (grid.kind === '3D') {
      const change = flatness.map(({before, after}) => after - before);
      const width = spreadAroundZero(change);
      return {
        data: [{type: 'scatter', mode: 'markers', x: flatness.map((at) => at.crossline), y: flatness.map((at) => at.inline),
          customdata: flatness.map((at, i) => [at.cdp, change[i]]),
          hovertemplate: 'CDP %{customdata[0]}<br>Inline %{y}, crossline %{x}<br>semblance %{customdata[1]:+.3f}<extra></extra>',
          marker: {size: 9, color: change, colorscale: scales.diverging(), cmin: -width, cmax: width, line: {width: 0.5, color: colour('muted')},
            colorbar: {thickness: 10, outlinewidth: 0, ypad: 0, len: 1}}}],
        layout: {xaxis: {title: titled('Crossline')}, yaxis: {title: titled('Inline')}},
      };
    }
    const along = [...flatness].sort((a, b) => a.cdp - b.cdp);
    return {
      data: [['before', 'dash'], ['after', 'solid']].flatMap(([key, dash]) => curve({
        name: key, x: along.map((at) => at.cdp), y: along.map((at) => at[key]), line: {color: colour(key), width: 2, dash},
        hovertemplate: `CDP %{x}<br>${key} %{y:.3f}<extra></extra>`})),
      layout: {showlegend: true, margin: {t: 28}, xaxis: {title: titled('CDP')}, yaxis: {title: titled('Semblance')}},
    };
  });
}
