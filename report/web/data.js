// Values of the report: numbers packed as unsigned integers, unpacked when they are first asked for.

/** Values on a linear scale, 0 standing for none, over a box whose last dimension runs fastest. */
class Values {
  constructor(part, numbers) {
    this.shape = part.shape;
    this.numbers = numbers;
    this.min = part.min;
    this.max = part.max;
    this.step = (part.max - part.min) / (2 ** part.bits - 2);
  }

  /** Value at a position of the whole array, NaN where there is none. */
  at(position) {
    const number = this.numbers[position];
    return number === 0 ? NaN : this.min + (number - 1) * this.step;
  }

  /** Values along the dimensions whose index is null, of which there are one or two: a row, or rows. */
  cut(index) {
    const strides = this.shape.map((_, dimension) => this.shape.slice(dimension + 1).reduce((a, b) => a * b, 1));
    const start = index.reduce((sum, at, dimension) => sum + (at ?? 0) * strides[dimension], 0);
    const open = [...index.keys()].filter((dimension) => index[dimension] === null);
    const row = (from, dimension) =>
      Float32Array.from({length: this.shape[dimension]}, (_, i) => this.at(from + i * strides[dimension]));
    if (open.length === 1) return row(start, open[0]);
    return Array.from({length: this.shape[open[0]]}, (_, i) => row(start + i * strides[open[0]], open[1]));
  }

  /** At most `count` values, evenly spread over the array. */
  sample(count) {
    const stride = strideOver(this.numbers.length, count, this.shape.at(-1));
    return Float32Array.from({length: Math.ceil(this.numbers.length / stride)}, (_, i) => this.at(i * stride));
  }
}

/** A stride that takes at most `count` of `length` values and, having no factor in common with `last`, the last
 *  dimension, comes upon every place along it. */
function strideOver(length, count, last) {
  const factor = (a, b) => (b ? factor(b, a % b) : a);
  let stride = Math.max(1, Math.ceil(length / count));
  while (factor(stride, last) > 1) ++stride;
  return stride;
}

const unpacked = new WeakMap();

/** The values of an array of the report; a promise of null where the array is missing. */
function unpack(part) {
  if (!part) return Promise.resolve(null);
  if (!unpacked.has(part)) unpacked.set(part, inflate(part));
  return unpacked.get(part);
}

async function inflate(part) {
  const text = atob(part.data);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = text.charCodeAt(i);
  part.data = null;  // the text is many times the size of what is needed from here on
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('gzip'));
  const buffer = await new Response(stream).arrayBuffer();
  return new Values(part, part.bits === 8 ? new Uint8Array(buffer) : new Uint16Array(buffer));
}

/** A number that was in single precision, without the digits beyond it. */
const rounded = (value) => Number(value.toPrecision(6));

/** The times of a sampling in ms. */
function timesOf({start, step, count}) {
  const interval = rounded(step);
  return Array.from({length: count}, (_, i) => Number((start + i * interval).toFixed(6)));
}

/** Rows and columns exchanged. */
const transposed = (rows) => Array.from({length: rows[0].length}, (_, i) => Float32Array.from(rows, (row) => row[i]));

/** Rows of f(a, b) from two arrays of rows of one shape. */
const combined = (a, b, f) => a.map((row, j) => row.map((value, i) => f(value, b[j][i])));

/** The value that a share of the finite values does not exceed, NaN if there are none. */
function quantile(values, share) {
  const sorted = Float32Array.from(values).filter(Number.isFinite).sort();
  return sorted.length ? sorted[Math.round(share * (sorted.length - 1))] : NaN;
}

/** Half-width of a scale around zero that holds 99 % of the values, on a round number. */
function spreadAroundZero(values) {
  const width = quantile(values.map(Math.abs), 0.99);
  if (!(width > 0)) return 1;
  const decade = 10 ** Math.floor(Math.log10(width));
  return decade * [1, 1.5, 2, 3, 5, 7, 10].find((round) => round * decade >= width * 0.999);
}

const percentChange = (before, after) => (100 * (after - before)) / before;

/** Change of a flatness in percent; less than one is none. */
function flatnessChange({before, after}) {
  const change = percentChange(before, after);
  return Math.abs(change) >= 1 ? change : 0;
}

/** A number for the eye: thousands grouped from 10,000, a true minus sign, a dash for a missing value. */
function figure(value, digits = 0, sign = 'auto') {
  if (!Number.isFinite(value)) return '–';
  const options = {minimumFractionDigits: digits, maximumFractionDigits: digits, signDisplay: sign, useGrouping: 'min2'};
  return value.toLocaleString('en', options).replace('-', '−');
}
