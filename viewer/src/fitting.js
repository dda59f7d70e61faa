// What the camera is fitted to.
import { element, page, stage } from './page.js';

// The pictures are fitted to what these frames show.
export function fitTo(...frames) {
  const shown = frames.filter((frame) => frame?.head.bounds);
  if (!shown.length) return;
  const ends = [0, 1].map((end) =>
    [0, 1, 2].map((axis) => (end ? Math.max : Math.min)(...shown.map(({ head }) => head.bounds[end][axis]))),
  );
  const outlines = shown.flatMap((frame) =>
    frame.batches(frame.head.points_only ? 'points' : 'faces').map((batch) => frame.positions(batch)),
  );
  stage.setBounds(ends, outlines);
}

export function setUp(axis) {
  stage.setUp(axis);
  element('up-axis').textContent = `${axis.toUpperCase()} up`;
  stage.touched = false;
  stage.fit();
}

export function fit() {
  // What is coarse may reach out of what was fitted at first, and the other way round.
  fitTo(page.frame, page.original?.frame);
  stage.touched = false;
  stage.fit({ keepDirection: true });
}
