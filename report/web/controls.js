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

/** A choice among [value, text] pairs, bound to state[key]. */
function choice(label, state, key, options, changed) {
  const select = element('select', {
    onchange: () => {
      state[key] = select.value;
      changed();
    },
  }, ...options.map(([value, text]) => element('option', {value}, text)));
  select.value = state[key];
  return element('label', {class: 'control'}, label, select);
}

/** A slider over 0 .. count - 1, bound to state[key]; `text` names a position in words. */
function slider(label, state, key, count, text, changed) {
  const words = element('output', {}, text(state[key]));
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
  return element('label', {class: 'control slider'}, label, input, words);
}

/** A choice of azimuth sector; nothing where there is only one. */
function sectorChoice(report, state, changed) {
  if (report.sectors.length < 2) return [];
  return [choice('Azimuth sector', state, 'sector', report.sectors.map((name, i) => [i, `${name}°`]), changed)];
}

/** A table from head and rows; the first column heads its row. */
function table(caption, head, rows) {
  const cell = (text, i) => element(i ? 'td' : 'th', i ? {} : {scope: 'row'}, `${text ?? ''}`);
  return element('div', {class: 'scroll'}, element('table', {},
    element('caption', {}, caption),
    ...(head ? [element('thead', {}, element('tr', {}, ...head.map((text) => element('th', {scope: 'col'}, text))))] : []),
    element('tbody', {}, ...rows.map((row) => element('tr', {}, ...row.map(cell))))));
}
