// Numbers as people read them.
const grouped = new Intl.NumberFormat('en');

export function whole(number) {
  return grouped.format(number);
}

export function percent(part, all) {
  if (!all) return '–';
  const share = (100 * part) / all;
  if (share > 99 && share < 100) return '> 99 %';
  return `${share >= 10 || share === 0 ? Math.round(share) : share.toPrecision(2)} %`;
}

export function counted(number, word) {
  return `${whole(number)} ${word}${number === 1 ? '' : 's'}`;
}

export function short(number) {
  return Number(number.toPrecision(4)).toString();
}

// Never less than the number.
export function shortBound(number) {
  if (Number(number.toPrecision(4)) >= number) return short(number);
  return short(number + 10 ** (Math.floor(Math.log10(number)) - 3));
}
