// Colours for distances: from the original's own grey-blue over yellow to a dark red, rising in darkness and warmth
// so that they can be told apart without telling red from green.

const STOPS = [
  [0.0, 0x3b, 0x6f, 0xb6],
  [0.25, 0x7f, 0xb8, 0xd8],
  [0.5, 0xf2, 0xee, 0xc4],
  [0.75, 0xee, 0x9c, 0x4a],
  [1.0, 0xa6, 0x1b, 0x29],
];

function srgbToLinear(value) {
  const v = value / 255;
  return v <= 0.04045 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4;
}

// 256 colours x (r, g, b), linear.
const TABLE = (() => {
  const table = new Float32Array(256 * 3);
  for (let i = 0; i < 256; i += 1) {
    const t = i / 255;
    const upper = Math.max(1, STOPS.findIndex((stop) => stop[0] >= t));
    const [a, b] = [STOPS[upper - 1], STOPS[upper]];
    const share = (t - a[0]) / (b[0] - a[0]);
    for (let c = 0; c < 3; c += 1) table[i * 3 + c] = srgbToLinear(a[c + 1] + (b[c + 1] - a[c + 1]) * share);
  }
  return table;
})();

export const cssGradient = `linear-gradient(to right, ${STOPS.map(
  ([t, r, g, b]) => `rgb(${r} ${g} ${b}) ${t * 100}%`,
).join(', ')})`;

// distances: one per corner -> r, g, b per corner; what is at or above `top` gets the last colour.
export function colorsOf(distances, top) {
  const colors = new Float32Array(distances.length * 3);
  const scale = top > 0 ? 255 / top : 0;
  for (let i = 0; i < distances.length; i += 1) {
    const place = Math.min(255, Math.max(0, Math.round(distances[i] * scale))) * 3;
    colors[i * 3] = TABLE[place];
    colors[i * 3 + 1] = TABLE[place + 1];
    colors[i * 3 + 2] = TABLE[place + 2];
  }
  return colors;
}

export function largest(distances) {
  let top = 0;
  for (let i = 0; i < distances.length; i += 1) if (distances[i] > top) top = distances[i];
  return top;
}
