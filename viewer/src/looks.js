// How models are drawn, as the switches say.
import * as THREE from 'three';
import { dark, element, page, stage } from './page.js';
import { textureOf } from './textures.js';

export function look() {
  const style = getComputedStyle(document.documentElement);
  const color = (name) => new THREE.Color(style.getPropertyValue(name).trim());
  return {
    smooth: element('smooth').checked,
    textures: element('show-textures').checked,
    textureOf,
    ink: dark.matches ? new THREE.Color(0xdde5e2) : new THREE.Color(0x000000),
    marks: { boundary: color('--boundary'), sharp: color('--sharp'), seam: color('--seam') },
  };
}

// What a frame from the server has to bring along.
export function layers() {
  return { edges: element('show-edges').checked, marks: element('show-marks').checked };
}

export function applySwitches() {
  for (const model of [page.model, page.original]) {
    if (!model) continue;
    const pointsOnly = model.frame.head.points_only;
    model.faces.visible = element('show-faces').checked;
    model.edges.visible = element('show-edges').checked;
    model.marks.visible = element('show-marks').checked;
    model.bounds.visible = pointsOnly;
    if (!pointsOnly) model.showCorners(element('show-points').checked);
  }
  element('key').hidden = !element('show-marks').checked;
  stage.invalidate();
}
