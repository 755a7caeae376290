// Charts: drawn when they come into view, drawn again when what they show or the theme changes.

const charts = [];
const narrow = matchMedia('(max-width: 640px)');

const watcher = new IntersectionObserver((entries) => {
  for (const entry of entries) if (entry.isIntersecting) entry.target.chart.show();
}, {rootMargin: '300px'});

const sizes = new ResizeObserver((entries) => {
  for (const {target} of entries) if (target.chart.drawn && target.clientWidth !== target.chart.width) target.chart.render();
});

/**
 * A figure with a caption. `load` promises what `draw` takes; `draw` gives {data, layout} of the library, or a string
 * that says why there is nothing to draw.
 */
class Chart {
  constructor(title, load, draw, style = '') {
    this.load = load;
    this.draw = draw;
    this.plot = element('div', {class: 'plot'});
    this.caption = element('figcaption', {}, title);
    this.figure = element('figure', {class: style, 'aria-label': title}, this.caption, this.plot);
    this.figure.chart = this;
    this.plot.chart = this;
    charts.push(this);
    watcher.observe(this.figure);
    sizes.observe(this.plot);
  }

  /** Draws the chart for the first time. */
  show() {
    watcher.unobserve(this.figure);
    if (!this.shown) {
      this.shown = true;
      this.refresh();
    }
    return this.pending;
  }

  /** Loads and draws again; changes that come while this is under way are drawn once, after it. */
  refresh() {
    if (!this.shown) return;
    this.stale = true;
    this.pending = this.running ? this.pending : this.run();
  }

  async run() {
    this.running = true;
    while (this.stale) {
      this.stale = false;
      this.parts = await this.load();
      this.loaded = true;
      this.render();
    }
    this.running = false;
  }

  /** Draws what is loaded. */
  render() {
    if (!this.loaded) return;
    const drawing = this.draw(this.parts);
    const empty = typeof drawing === 'string';
    this.figure.classList.toggle('empty', empty);
    if (empty) {
      Plotly.purge(this.plot);
      this.plot.replaceChildren(paragraph(drawing));
      this.drawn = false;
      return;
    }
    if (!this.drawn) this.plot.replaceChildren();
    const {clientWidth: width, clientHeight: height} = this.plot;
    Plotly.react(this.plot, drawing.data, {...dressed(drawing.layout), width, height}, {
      displaylogo: false, doubleClick: 'reset', modeBarButtons: [['zoomIn2d', 'zoomOut2d', 'resetScale2d', 'toImage']],
    });
    if (!this.drawn) this.listen?.();
    this.drawn = true;
    this.width = width;
  }
}

/** A layout in the colours and letters of the page. */
function dressed(layout) {
  const line = colour('line');
  const axis = {gridcolor: line, zerolinecolor: line, linecolor: line, ticks: 'outside', ticklen: 4, tickcolor: line, zeroline: false};
  return {
    paper_bgcolor: 'rgba(0,0,0,0)', plot_bgcolor: 'rgba(0,0,0,0)', hovermode: 'closest', showlegend: false,
    font: {family: 'system-ui, sans-serif', size: 12, color: colour('text')},
    hoverlabel: {bgcolor: colour('surface'), bordercolor: line, font: {color: colour('text')}},
    modebar: {bgcolor: colour('page'), color: colour('muted'), activecolor: colour('accent')},
    dragmode: narrow.matches ? false : 'zoom',  // a finger scrolls the page
    ...layout,
    margin: {l: 56, r: 12, t: 12, b: 44, ...layout.margin},
    legend: {orientation: 'h', y: 1, yanchor: 'bottom', x: 0, ...layout.legend},
    xaxis: {...axis, ...layout.xaxis},
    yaxis: {...axis, ...layout.yaxis},
  };
}

const titled = (text) => ({text, standoff: 8});

/** A time axis, ms downwards. */
const timeAxis = {title: titled('Time, ms'), autorange: 'reversed', showgrid: false};

/** Whether numbers are evenly spaced, which smooth images need. */
const even = (numbers) =>
  numbers.every((value, i) => i < 2 || Math.abs(value - 2 * numbers[i - 1] + numbers[i - 2]) < 1e-6 * Math.abs(value - numbers[0]));

/** A map of colours; `range` is [min, max] of the scale, `text` the template of the value under the pointer. */
function heatmap({x, y, z, scale, range, unit, text, bar = true}) {
  const many = x.length * y.length > 150000 && even(x) && even(y);
  return {
    type: 'heatmap', x, y, z, colorscale: scale, zmin: range[0], zmax: range[1], zsmooth: many ? 'fast' : false,
    hovertemplate: `${text}<extra></extra>`, hoverongaps: false, showscale: bar,
    colorbar: {title: {text: unit, side: 'top'}, thickness: 10, outlinewidth: 0, xpad: 6, ypad: 0, len: 1, tickformat: '~g'},
  };
}

/** Zooming and pointing in one of the charts moves all; `axes` are those in common. */
function linkCharts(linked, axes, pointed = () => {}) {
  let following = false;
  const others = (chart) => linked.filter((other) => other !== chart && other.drawn);
  for (const chart of linked) {
    chart.listen = () => {
      chart.plot.on('plotly_relayout', (change) => {
        const common = Object.entries(change).filter(([key]) => axes.some((axis) => key.startsWith(axis)));
        if (following || !common.length) return;
        following = true;
        Promise.all(others(chart).map((other) => Plotly.relayout(other.plot, Object.fromEntries(common))))
          .finally(() => { following = false; });
      });
      chart.plot.on('plotly_hover', ({points}) => pointed(points[0].x, points[0].y));
    };
  }
}

/** Draws every chart, those out of view too. */
async function showAll() {
  for (const chart of charts) await chart.show();
}

const whenIdle = window.requestIdleCallback ?? setTimeout;  // not every browser tells when it is idle

/** Draws the charts out of view while nothing else is to do, so that printing finds them. */
function showWhenIdle() {
  const next = charts.find((chart) => !chart.shown);
  if (next) whenIdle(() => Promise.resolve(next.show()).then(showWhenIdle));
}
