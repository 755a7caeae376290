// Opens made-up reports from disk in a browser, as a user would: node page_test.mjs PAGE MODULES
// CHROMIUM FOLDER (page to fill, folder of node_modules, browser, folder to write to).
import assert from 'node:assert/strict';
import {mkdirSync, readFileSync, statSync, writeFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import {join, resolve} from 'node:path';
import {after, before, test} from 'node:test';
import {pathToFileURL} from 'node:url';
import {bare, grid, line, long, single} from './made_up.mjs';

const [page, modules, chromiumPath, folder] = process.argv.slice(2).map((path) => resolve(path));
const {chromium} = createRequire(join(modules, 'here.js'))('playwright-core');
const SECTIONS = 5;  // each begins a sheet of its own
mkdirSync(folder, {recursive: true});

let browser;
before(async () => {
  browser = await chromium.launch({executablePath: chromiumPath, args: ['--headless', '--no-sandbox', '--disable-gpu',
    '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync']});
});
after(() => browser.close());

/** Writes a report of the data; its address. */
function written(name, data) {
  const path = join(folder, `${name}.html`);
  const [head, tail] = readFileSync(page, 'utf8').split('@data@');
  writeFileSync(path, head + JSON.stringify(data).replaceAll('<', '\\u003c') + tail);
  return {address: pathToFileURL(path).href, bytes: statSync(path).size};
}

/** Opens an address; whatever the page complains of or asks the network for fails the test at `check`. */
async function open(address, width = 1280, colorScheme = 'light', first = () => {}) {
  const context = await browser.newContext({viewport: {width, height: 900}, colorScheme});
  await context.addInitScript(first);
  const tab = await context.newPage();
  const faults = [];
  tab.on('console', (message) => ['error', 'warning'].includes(message.type()) && faults.push(message.text()));
  tab.on('pageerror', (fault) => faults.push(fault.message));
  tab.on('request', (request) => /^(file|data|blob):/.test(request.url()) || faults.push(`asked for ${request.url()}`));
  await tab.goto(address);
  return {tab, check: async () => {
    await context.close();
    assert.deepEqual(faults, []);
  }};
}

/** Waits until every figure shows a chart or says why not. */
const drawn = (tab) => tab.waitForFunction(() =>
  [...document.querySelectorAll('figure')].every((at) => at.classList.contains('empty') || at.querySelector('.main-svg')));

const figure = (tab, title) => tab.getByRole('figure', {name: title, exact: true});

/** Numbers and colours that a chart draws. */
const shown = (tab, title) => figure(tab, title).locator('.plot').evaluate((plot) =>
  JSON.stringify([plot.data?.map(({type, x, y, z, line, marker, zmin, zmax}) => [type, x, y, z, line, marker, zmin, zmax]), plot.layout?.xaxis?.title]));

/** Does something and waits until the figures of these titles have changed. */
async function changes(tab, titles, action) {
  const old = await Promise.all(titles.map((title) => shown(tab, title)));
  await action();
  for (const [i, title] of titles.entries()) {
    for (let tries = 0; await shown(tab, title) === old[i]; ++tries) {
      assert.ok(tries < 2000, `"${title}" stayed as it was`);
      await tab.evaluate(() => new Promise(requestAnimationFrame));
    }
  }
}

for (const [name, made] of Object.entries({line, grid, bare, single})) {
  const {address} = written(name, made());
  for (const [width, scheme] of [[1280, 'light'], [400, 'dark']]) {
    test(`the ${name} report fits ${width} pixels, ${scheme}, prints, and neither complains nor asks the network`, async () => {
      const {tab, check} = await open(address, width, scheme);
      await drawn(tab);
      assert.equal(await tab.evaluate(() => document.documentElement.scrollWidth), width);
      const pdf = await tab.pdf({preferCSSPageSize: true, printBackground: true});
      assert.equal(pdf.toString('latin1').match(/\/Type\s*\/Page\b/g).length, SECTIONS);
      assert.equal(await tab.evaluate(() => document.documentElement.scrollWidth), width, 'printing leaves traces');
      await check();
    });
  }
}

test('what is missing is said in words', async () => {
  const {tab, check} = await open(written('bare', bare()).address);
  await drawn(tab);
  for (const title of ['After', 'Moved out, velocity after']) await figure(tab, title).getByText('run the job first').waitFor();
  await tab.locator('#attributes').getByText('There is no file of attribute traces.').waitFor();
  await tab.locator('#convergence').getByText('The database holds no completed run.').waitFor();
  const text = await tab.locator('main').textContent();
  assert.doesNotMatch(text, /\d after|as flat as before|Flatter than before|Flatness after against before/, 'what has not run gained nothing');
  await check();

  const lean = await open(written('single', single()).address);
  await drawn(lean.tab);
  await figure(lean.tab, 'Intercept A').getByText('The intercept was not written.').waitFor();
  await figure(lean.tab, 'Gradient B').getByText('The gradient was not written.').waitFor();
  await figure(lean.tab, 'Crossplot of A and B').getByText('There are no samples').waitFor();
  await lean.check();
});

test('CDPs that stand alone show in every chart along the line, and others as lines alone', async () => {
  const titles = ['RMS revision of the pass, %', 'Samples at a limit in the pass, %', 'Flatness along the line'];
  for (const [made, counts] of [[single, [4, 4, 2]], [line, [0, 0, 0]]]) {
    const {tab, check} = await open(written(made.name, made()).address);
    await drawn(tab);
    const dots = (title) => figure(tab, title).locator('.scatterlayer .point').count();
    assert.deepEqual(await Promise.all(titles.map(dots)), counts);
    await check();
  }
});

test('the colour scales take in every time', async () => {
  const {tab, check} = await open(written('long', long()).address);
  await drawn(tab);
  const end = (title) => figure(tab, title).locator('.plot').evaluate(({data: [{zmax}]}) => zmax);
  assert.deepEqual(await Promise.all(['Change', 'Intercept A'].map(end)), [5, 1]);
  await check();
});

test('words and scales say what is there', async () => {
  const {tab, check} = await open(written('line', line()).address);
  await drawn(tab);
  await tab.getByText('Dotted lines mark the angle limit, 37°.').waitFor();  // none is drawn at 0°
  const [weakest, greatest, end] = await figure(tab, 'Semblance').locator('.plot').evaluate(({data: [{z, zmin, zmax}]}) =>
    [zmin, Math.max(...z.flatMap((row) => [...row])), zmax]);
  assert.deepEqual([weakest, end], [0, greatest]);
  await check();

  const small = await open(written('single', single()).address);
  await small.tab.getByText('0 % of 1 gathers measured').waitFor();  // a gain of less than 1 % is none
  await small.check();
});

test('charts out of view are drawn where the browser does not tell that it is idle', async () => {
  const {tab, check} = await open(written('line', line()).address, 1280, 'light', () => { delete window.requestIdleCallback; });
  await drawn(tab);
  await check();
});

test('packed numbers come out as they went in', async () => {
  const {tab, check} = await open(written('line', line()).address);
  await drawn(tab);
  const [x, y, z] = await figure(tab, 'Before').locator('.plot').evaluate(({data: [map]}) =>
    [map.x, map.y, map.z.map((row) => [...row].map((value) => (Number.isNaN(value) ? null : value)))]);
  assert.deepEqual([x[0], x.at(-1), y[1], y.at(-1)], [1001, 1240, 16, 2000]);
  const expected = (at, time) => (1550 + 0.75 * time + 60 * Math.sin(at / 12) * Math.exp(-(((time - 1100) / 500) ** 2)))
    * (1 + 0.045 * Math.sin(at / 7 + time / 300));
  assert.ok(Math.abs(z[70][33] - expected(33, 1120)) < 0.03);
  assert.equal(z[70][105], null);
  const change = await figure(tab, 'Change').locator('.plot').evaluate(({data: [map]}) => map.z[70][33]);
  const wrong = 0.045 * Math.sin(33 / 7 + 1120 / 300);
  assert.ok(Math.abs(change - 100 * ((1 + 0.2 * wrong) / (1 + wrong) - 1)) < 0.01);
  await check();
});

test('before and after share one colour scale', async () => {
  const {tab, check} = await open(written('grid', grid()).address);
  await drawn(tab);
  for (const view of ['inline', 'time']) {
    await tab.getByLabel('View', {exact: true}).selectOption(view);
    const ends = (title) => figure(tab, title).locator('.plot').evaluate(({data: [{zmin, zmax}]}) => [zmin, zmax]);
    assert.deepEqual(await ends('Before'), await ends('After'));
  }
  await check();
});

test('every control changes what is shown', async () => {
  const {tab, check} = await open(written('grid', grid()).address);
  await drawn(tab);
  const velocity = tab.locator('#velocity');
  const sections = ['Before', 'After', 'Change', 'Spread over the azimuth sectors, after'];
  await changes(tab, sections, () => velocity.getByLabel('Inline', {exact: true}).press('ArrowRight'));
  await changes(tab, ['After', 'Change'], () => velocity.getByLabel('Azimuth sector', {exact: true}).selectOption('3'));
  await changes(tab, sections, () => velocity.getByLabel('View', {exact: true}).selectOption('time'));
  await changes(tab, sections, () => velocity.getByLabel('Time', {exact: true}).press('End'));
  await changes(tab, sections, () => velocity.getByLabel('View', {exact: true}).selectOption('crossline'));

  const gathers = tab.locator('#gathers');
  const movedOut = ['Moved out, velocity before', 'Moved out, velocity after'];
  await changes(tab, [...movedOut, 'Velocity functions', 'Semblance'], () => gathers.getByLabel('Gather', {exact: true}).selectOption('2'));
  await changes(tab, movedOut, () => gathers.getByLabel('Gain', {exact: true}).press('ArrowRight'));
  await changes(tab, movedOut, () => gathers.getByLabel('Show as', {exact: true}).selectOption('density'));
  await changes(tab, movedOut, () => gathers.getByLabel('Along the top', {exact: true}).selectOption('angle'));

  await changes(tab, ['Intercept A'], () => tab.locator('#attributes').getByLabel('Line', {exact: true}).selectOption('1'));

  const convergence = tab.locator('#convergence');
  const revision = ['RMS revision of the pass, %', 'Samples at a limit in the pass, %'];
  await changes(tab, revision, () => convergence.getByLabel('Colours over', {exact: true}).selectOption('pass'));
  await changes(tab, revision, () => convergence.getByLabel('Pass', {exact: true}).press('Home'));
  await changes(tab, [...revision, 'Where nothing was revised, and why'], () => convergence.getByLabel('Azimuth sector', {exact: true}).selectOption('3'));

  await changes(tab, ['Velocity functions', 'Flatness after against before'], () => tab.getByLabel('Theme', {exact: true}).selectOption('dark'));
  await check();
});

test('values are read with the pointer and with the keys', async () => {
  const {tab, check} = await open(written('line', line()).address);
  await drawn(tab);
  const readout = tab.locator('.readout');
  await figure(tab, 'Change').locator('.nsewdrag').first().hover({position: {x: 40, y: 60}});
  await readout.getByText(/^CDP \d+, Time \d+ ms: before [\d,]+ m\/s, after [\d,]+ m\/s, change [+−][\d.]+ %$/).waitFor();
  const pointed = await readout.textContent();
  await figure(tab, 'Before').locator('.plot').press('ArrowRight');
  assert.notEqual(await readout.textContent(), pointed);
  await check();
});

test('values that are read follow the controls', async () => {
  const data = grid();
  data.velocity.times.step = 37.32399845123291;
  const {tab, check} = await open(written('grid', data).address);
  await drawn(tab);
  const velocity = tab.locator('#velocity');
  const readout = velocity.locator('.readout');
  await figure(tab, 'Before').locator('.plot').press('ArrowDown');
  await readout.getByText(/^Crossline 500, Time 37.324 ms, Inline 2006: /).waitFor();
  await velocity.getByLabel('Inline', {exact: true}).press('ArrowRight');
  await readout.getByText(/^Crossline 500, Time 37.324 ms, Inline 2007: /).waitFor();
  const firstSector = await readout.textContent();
  await changes(tab, ['After'], () => velocity.getByLabel('Azimuth sector', {exact: true}).selectOption('3'));
  assert.notEqual(await readout.textContent(), firstSector);

  for (let i = 0; i < 5; ++i) await figure(tab, 'Before').locator('.plot').press('Shift+ArrowDown');
  await velocity.getByLabel('View', {exact: true}).selectOption('time');
  await readout.getByText(/^Crossline 500, Inline 2011, Time [\d.]+ ms: before [\d,]+ m\/s/).waitFor();  // the last inline
  await figure(tab, 'Before').locator('.plot').press('ArrowDown');
  await readout.getByText('Inline 2010').waitFor();
  await figure(tab, 'Before').locator('.plot').press('ArrowUp');
  await readout.getByText('Inline 2011').waitFor();  // inlines grow upwards
  await check();
});

test('zooming one section zooms the others', async () => {
  const {tab, check} = await open(written('line', line()).address);
  await drawn(tab);
  await figure(tab, 'Before').locator('.plot').evaluate((plot) => Plotly.relayout(plot, {'yaxis.range': [1500, 500]}));
  await tab.waitForFunction(() => ['After', 'Change'].every((title) =>
    document.querySelector(`figure[aria-label="${title}"] .plot`).layout.yaxis.range?.[0] === 1500));
  await check();
});

test('a report of 16 MB opens', async (context) => {
  const {address, bytes} = written('large', grid({inlines: 32, crosslines: 190, samples: 126, bits: 16}));
  const {tab, check} = await open(address);
  const seconds = async () => `${((await tab.evaluate(() => performance.now())) / 1000).toFixed(2)} s`;  // since its address was asked for
  const opened = await seconds();
  await figure(tab, 'Before').locator('.main-svg').first().waitFor();
  const first = await seconds();
  await drawn(tab);
  context.diagnostic(`${(bytes / 1e6).toFixed(1)} MB: opened ${opened}, first section ${first}, all ${await seconds()}`);
  await check();
});
