// Made-up data of the report page: a 2D line, a grid of six azimuth sectors, and a report of which parts are missing.
import {gzipSync} from 'node:zlib';

/** Numbers in 0 .. 1 that are the same in every run. */
function dice(seed) {
  let state = seed;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 2 ** 32;
  };
}

/** f(indices) over a box as an array of the report; NaN is no value. */
function packed(shape, bits, f, limits = null) {
  const values = new Float32Array(shape.reduce((a, b) => a * b));
  const index = shape.map(() => 0);
  for (let i = 0; i < values.length; ++i) {
    values[i] = f(...index);
    for (let d = shape.length - 1; d >= 0 && ++index[d] === shape[d]; --d) index[d] = 0;
  }
  const extreme = (pick, start) => values.reduce((a, b) => (Number.isFinite(b) ? pick(a, b) : a), start);
  const [min, max] = limits ?? [extreme(Math.min, Infinity), extreme(Math.max, -Infinity)];
  const levels = 2 ** bits - 2;
  const code = (value) => (Number.isFinite(value) ? 1 + Math.round(((value - min) * levels) / (max - min || 1)) : 0);
  const numbers = bits === 8 ? Uint8Array.from(values, code) : Uint16Array.from(values, code);
  return {shape, min, max, bits, data: gzipSync(Buffer.from(numbers.buffer)).toString('base64')};
}

const count = (length, start = 0, step = 1) => Array.from({length}, (_, i) => start + i * step);

const trueVelocity = (x, time) => 1550 + 0.75 * time + 60 * Math.sin(x / 12) * Math.exp(-(((time - 1100) / 500) ** 2));
const error = (x, time) => 1 + 0.045 * Math.sin(x / 7 + time / 300);

/** A gather around a few reflections, moved out with velocities 5 % wrong and with those `after` times the true ones. */
function gatherOf(place, {label, sector = 0, after = 1.004}) {
  const roll = dice(place.cdp + 7);
  const offsets = count(32, 80, 75);
  const times = {start: 0, step: 4, count: 501};
  const reflections = count(14, 180, 125).map((time) => ({time, strength: roll() - 0.4, gradient: roll() - 0.9}));
  const section = (scale) => (i, j) => {
    const time = j * times.step;
    if (offsets[i] > 250 + 1.9 * time) return NaN;
    return 0.02 * (roll() - 0.5) + reflections.reduce((sum, {time: zero, strength, gradient}) => {
      const v = trueVelocity(place.cdp, zero);
      const at = Math.sqrt(zero ** 2 + (offsets[i] / v * 1000) ** 2 * (1 - 1 / scale ** 2));
      const phase = ((time - at) / 14) ** 2;
      return sum + (strength + gradient * 0.3 * (offsets[i] / 2500) ** 2) * (1 - 2 * phase) * Math.exp(-phase);
    }, 0);
  };
  const largest = [-1.2, 1.2];
  const clipped = (f) => (i, j) => Math.min(1.2, Math.max(-1.2, f(i, j)));
  const angleTimes = {start: 0, step: 40, count: 51};
  const angle = (scale) => (i, j) => {
    const time = 40 * j;
    const v = scale * trueVelocity(place.cdp, time) / 1000;
    return time ? (180 / Math.PI) * Math.asin(Math.min(1, (1.1 * offsets[i]) / Math.hypot(offsets[i], v * time))) : 90;
  };
  const velocities = count(60, 1500, 30);
  const functionTimes = {start: 0, step: 20, count: 101};
  const along = (scale) => count(101, 0, 20).map((time) => scale(time) * trueVelocity(place.cdp, time));
  return {
    ...place, sector, label, offsets, times,
    before: packed([32, 501], 8, clipped(section(1.05)), largest), after: packed([32, 501], 8, clipped(section(after)), largest),
    flatness: {before: 0.41, after: after === 1.05 ? 0.41 : 0.52},
    angles: {before: packed([32, 51], 8, angle(1.05), [0, 90]), after: packed([32, 51], 8, angle(after), [0, 90])},
    angleTimes, angleLimits: [0, 36.999996185302734],
    functions: {times: functionTimes, before: along((time) => error(place.cdp, time)), after: along(() => after)},
    semblance: {
      times: functionTimes, velocities,
      values: packed([60, 101], 8, (i, j) => {
        const near = (velocities[i] - trueVelocity(place.cdp, 20 * j)) / (40 + j * 1.5);
        return (0.35 + 0.35 * Math.cos(j / 2) ** 2) * Math.exp(-(near ** 2)) + 0.05 * roll();
      }, [0, 1]),
    },
  };
}

const head = {
  title: 'north-7.toml', generated: '2026-11-23 14:00 UTC', version: '0.1.0', units: {length: 'm', velocity: 'm/s'},
  summary: [
    {heading: 'Run', rows: [['Job', '/surveys/a rather long folder name/north-block/lines/north-7.toml'], ['Gathers', 'north-7.sgy'],
      ['Traces', '48,212'], ['Time', '12.4 s', '2 threads']]},
    {heading: 'Parameters', rows: [['NUMITER', '4', 'analysis passes'], ['VELFILT', '100', 'half-length of the velocity smoothing, ms'],
      ['STATIC', '0', '1: apply the statics'], ['FOLD', '4', 'least traces </script> & neighbours']]},
  ],
};

const passesOf = (traces, revised) => count(4, 1).map((pass) => ({
  pass, seconds: 3.2 + 0.1 * pass, traces, revised, mean: 0.9 / pass ** 2, rms: 3.1 / pass ** 1.4, limited: 0.12 / pass}));

const reasons = ['revised', 'no ensemble in the input', 'fewer traces than FOLD', 'fewer neighbours than FOLD'];

function crossplotOf(roll) {
  const a = count(1500).map(() => (roll() + roll() + roll() - 1.5) * 0.6);
  return {a, b: a.map((x) => -0.6 * x + 0.25 * (roll() - 0.5)), trend: {slope: -0.6, offset: 0.002}};
}

/** A line of CDPs, some without data. */
export function line({cdps = 240, samples = 126} = {}) {
  const roll = dice(1);
  const step = 2000 / (samples - 1);
  const crosslines = count(cdps, 1001);
  const dead = (x) => x > 100 && x < 110;
  const value = (f) => (_, __, x, j) => (dead(x) ? NaN : f(x, j * step));
  const shape = [1, 1, cdps, samples];
  const attribute = (scale) => packed([cdps, samples], 8, (x, j) =>
    (dead(x) ? NaN : scale * Math.sin(j / 3 + 2 * Math.sin(x / 20)) * (0.6 + 0.4 * roll())));
  return {
    ...head,
    warnings: ['9 CDPs of the line have no ensemble in the input.', 'Velocities of 12 % of the samples of pass 1 stopped at a limit.'],
    grid: {kind: '2D', inlines: [0], crosslines}, sectors: [''],
    velocity: {
      times: {start: 0, step, count: samples},
      before: packed(shape, 16, value((x, time) => trueVelocity(x, time) * error(x, time))),
      after: packed(shape, 16, value((x, time) => trueVelocity(x, time) * (1 + 0.2 * (error(x, time) - 1)))),
    },
    gathers: [[1032, 'largest improvement'], [1090, 'median'], [1200, 'became less flat']].map(([cdp, label]) =>
      gatherOf({cdp, inline: 0, crossline: cdp}, {label})),
    attributes: {
      lines: [{inline: 0, sector: 0, crosslines, times: {start: 0, step, count: samples}, intercept: attribute(0.8), gradient: attribute(-0.5),
        ratio: packed([cdps, samples], 8, (x, j) => 1 + 0.006 * Math.sin(x / 9 + j / 11))}],
      crossplot: crossplotOf(roll),
    },
    convergence: {
      passes: passesOf(48212, cdps - 9),
      revision: packed([4, 1, 1, cdps], 8, (pass, _, __, x) => (dead(x) ? NaN : (3 + Math.sin(x / 9)) / (pass + 1) ** 1.4)),
      limited: packed([4, 1, 1, cdps], 8, (pass, _, __, x) => (dead(x) ? NaN : Math.max(0, 12 * Math.sin(x / 20)) / (pass + 1)), [0, 100]),
      reason: packed([1, 1, cdps], 8, (_, __, x) => (dead(x) ? 1 : x < 4 ? 3 : x % 61 === 7 ? 2 : 0), [0, 3]), reasons,
      flatness: count(Math.ceil(cdps / 4), 0, 4).filter((x) => !dead(x)).map((x) => {
        const before = 0.3 + 0.2 * roll();
        return {cdp: crosslines[x], inline: 0, crossline: crosslines[x], before, after: before + 0.16 * roll() - 0.02};
      }),
    },
  };
}

/** A grid with six azimuth sectors. */
export function grid({inlines = 12, crosslines = 40, samples = 51, bits = 8} = {}) {
  const roll = dice(2);
  const step = 2000 / (samples - 1);
  const sectors = count(6);
  const azimuth = (s, x) => 1 + 0.015 * Math.cos((2 * Math.PI * s) / 6 + x / 10);
  const places = (f) => count(inlines, 0, 2).flatMap((i) => count(Math.ceil(crosslines / 5), 0, 5).map((x) => f(i, x)))
    .filter(({inline}) => inline < 2000 + inlines);
  const numbers = {inlines: count(inlines, 2000), crosslines: count(crosslines, 500, 2)};
  const shape = [6, inlines, crosslines, samples];
  const attribute = (f) => packed([crosslines, samples], 8, f);
  return {
    ...head, title: 'block-3d.toml', warnings: ['Sector 90 to 120 has fewer traces than FOLD at 14 % of the CDPs.'],
    grid: {kind: '3D', ...numbers}, sectors: sectors.map((s) => `${30 * s} to ${30 * (s + 1)}`),
    velocity: {
      times: {start: 0, step, count: samples},
      before: packed([1, ...shape.slice(1)], bits, (_, i, x, j) => trueVelocity(x + 3 * i, j * step) * error(x + 5 * i, j * step) + roll()),
      after: packed(shape, bits, (s, i, x, j) => trueVelocity(x + 3 * i, j * step) * azimuth(s, x) + roll()),
    },
    gathers: sectors.map((sector) => gatherOf({cdp: 40 * sector + 11, inline: 2000 + sector, crossline: 520}, {label: 'middle', sector})),
    attributes: {
      lines: [0, 3].map((sector) => ({inline: 2006, sector, crosslines: numbers.crosslines, times: {start: 0, step, count: samples},
        intercept: attribute((x, j) => Math.sin(j / 3 + x / 15 + sector)), gradient: attribute((x, j) => -0.5 * Math.sin(j / 3 + x / 12)), ratio: null})),
      crossplot: crossplotOf(roll),
    },
    convergence: {
      passes: passesOf(812000, 6 * inlines * crosslines - 31),
      revision: packed([4, ...shape.slice(0, 3)], 8, (pass, s, i, x) => (3 + Math.sin((x + i + 4 * s) / 6)) / (pass + 1) ** 1.4),
      limited: packed([4, ...shape.slice(0, 3)], 8, (pass, s, i, x) => Math.max(0, 9 * Math.sin((x + i + s) / 8)) / (pass + 1), [0, 100]),
      reason: packed(shape.slice(0, 3), 8, (s, i, x) => (x < 3 ? 1 : s === 3 && roll() < 0.14 ? 2 : 0), [0, 3]), reasons,
      flatness: places((i, x) => {
        const before = 0.3 + 0.2 * roll();
        return {cdp: i * crosslines + x, inline: 2000 + i, crossline: 500 + 2 * x, before, after: before + 0.14 * roll() - 0.03};
      }),
    },
  };
}

/** A line whose job has not run: gathers and flatness are those of the velocities before. */
export function bare() {
  const {velocity: {times, before}, convergence: {flatness}, ...rest} = line({cdps: 40, samples: 51});
  return {
    ...rest, warnings: [], attributes: {note: 'There is no file of attribute traces.'},
    velocity: {times, before, note: 'There is no refined table yet: run the job first.'},
    gathers: [gatherOf({cdp: 1010, inline: 0, crossline: 1010}, {label: 'along the survey', after: 1.05})],
    convergence: {note: 'The database holds no completed run.', flatness: flatness.map((at) => ({...at, after: at.before}))},
  };
}

/** A line of one CDP that gained next to nothing, and of which only the ratio was written. */
export function single() {
  const {attributes: {lines}, convergence, ...rest} = line({cdps: 1});
  return {
    ...rest,
    attributes: {lines: [{...lines[0], intercept: null, gradient: null}], crossplot: {a: [], b: [], trend: {slope: 0, offset: 0}}},
    convergence: {...convergence, flatness: [{cdp: 1001, inline: 0, crossline: 1001, before: 0.5, after: 0.504}]},
  };
}

/** A line of many times as many CDPs as times, where nothing differs from the first time but all later ones. */
export function long() {
  const {velocity, attributes, ...rest} = line({cdps: 20000, samples: 20});
  const step = (first, later) => (...index) => (index.at(-1) ? later : first);
  const intercept = packed([20000, 20], 8, step(0.01, 1));
  return {
    ...rest,
    velocity: {...velocity, before: packed([1, 1, 20000, 20], 16, () => 2000), after: packed([1, 1, 20000, 20], 16, step(2000, 2100))},
    attributes: {...attributes, lines: [{...attributes.lines[0], intercept}]},
  };
}
