// Elements of the page: labelled controls, tables, paragraphs.

/** An element with attributes, listeners (on...) and children. */
function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith('on')) made.addEventListener(key.slice(2), value);
    else if (value !== null) made.setAttribute(key, value);
  }
  made.append(...children);
  return made;
}

const paragraph = (text, style = null) => element('p', {class: style}, text);

let named = 0;

/** A control behind its label. */
function labelled(label, control, ...more) {
  control.id = `control-${++named}`;
  return element('span', {class: 'control'}, element('label', {for: control.id}, label), control, ...more);
}

/** A choice among [value, text] pairs, bound to state[key]. */
function choice(label, state, key, options, changed) {
  const select = element('select', {
    onchange: () => {
      state[key] = select.value;
      changed();
    },
  }, ...options.map(([value, text]) => element('option', {value}, text)));
  select.value = state[key];
  return labelled(label, select);
}

/** A slider over 0 .. count - 1, bound to state[key]; `text` names a position in words. */
function slider(label, state, key, count, text, changed) {
  const words = element('output', {}, text(state[key]));  // read out as the value of the slider
  const input = element('input', {
    type: 'range', min: 0, max: count - 1, value: state[key],
    oninput: () => {
      state[key] = Number(input.value);
      words.textContent = text(state[key]);
      input.setAttribute('aria-valuetext', words.textContent);
      changed();
    },
  });
  input.setAttribute('aria-valuetext', words.textContent);
  return labelled(label, input, words);
}

/** A choice of azimuth sector; nothing where there is only one. */
function sectorChoice(report, state, changed) {
  if (report.sectors.length < 2) return [];
  return [choice('Azimuth sector', state, 'sector', report.sectors.map((name, i) => [i, `${name}°`]), changed)];
}

/** A table from rows, with a head where there is one; the first column heads its row, the last fills a shorter row. */
function table(caption, rows, {head = null, style = ''} = {}) {
  const columns = Math.max(...rows.map((row) => row.length));
  const cell = (text, i, row) => (i ? element('td', {colspan: i === row.length - 1 ? columns - i : null}, `${text}`)
    : element('th', {scope: 'row'}, `${text}`));
  return element('div', {class: `scroll ${style}`}, element('table', {},
    element('caption', {}, caption),
    ...(head ? [element('thead', {}, element('tr', {}, ...head.map((text) => element('th', {scope: 'col'}, text))))] : []),
    element('tbody', {}, ...rows.map((row) => element('tr', {}, ...row.map(cell))))));
}
