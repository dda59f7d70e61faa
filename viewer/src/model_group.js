// A frame as three.js objects: one mesh per face set, the drawn lines and points, and the marked edges.
import * as THREE from 'three';

const KINDS = [
  ['boundary', 1],
  ['sharp', 2],
  ['seam', 4],
];

function attribute(values, width) {
  return new THREE.BufferAttribute(values, width);
}

function colorOf([red, green, blue]) {
  const byte = (value) => Math.min(255, Math.max(0, value)) / 255;
  return new THREE.Color().setRGB(byte(red), byte(green), byte(blue), THREE.SRGBColorSpace);
}

function isIdentity(m) {
  return m.every((value, place) => value === (place % 5 === 0 ? 1 : 0));
}

// Positions were transformed when they were drawn; normals come in the mesh's own coordinates.
function placedNormals(normals, transformation) {
  if (isIdentity(transformation)) return normals;
  const place = new THREE.Matrix4().fromArray(transformation);
  const placed = attribute(new Float32Array(normals), 3);
  placed.applyNormalMatrix(new THREE.Matrix3().getNormalMatrix(place));
  // A mirror turns the corners of every face round: what is seen from outside counts as its back, where the shading
  // takes the normal for its opposite.
  if (place.determinant() < 0) for (let i = 0; i < placed.array.length; i += 1) placed.array[i] *= -1;
  return placed.array;
}

function faceMesh(set, look) {
  const geometry = new THREE.BufferGeometry();
  geometry.setAttribute('position', attribute(set.positions, 3));
  const smooth = set.normals !== null && look.smooth;
  if (smooth) geometry.setAttribute('normal', attribute(placedNormals(set.normals, set.transformation), 3));
  if (set.uvs) geometry.setAttribute('uv', attribute(set.uvs, 2));
  const texture = look.textures && set.uvs && set.material !== null ? look.textureOf(set.material) : null;
  const opacity = Math.min(255, Math.max(0, set.color[3])) / 255;
  const material = new THREE.MeshStandardMaterial({
    color: colorOf(set.color),
    map: texture,
    flatShading: !smooth,
    roughness: 0.72,
    metalness: 0,
    side: THREE.DoubleSide,
    transparent: opacity < 1,
    opacity,
    depthWrite: opacity === 1,
    // So that lines on a face are seen.
    polygonOffset: true,
    polygonOffsetFactor: 1,
    polygonOffsetUnits: 1,
  });
  const mesh = new THREE.Mesh(geometry, material);
  // Bounds would be computed from every vertex only to find that the model is in view.
  mesh.frustumCulled = false;
  return mesh;
}

function lines(positions, color, opacity) {
  const geometry = new THREE.BufferGeometry();
  geometry.setAttribute('position', attribute(positions, 3));
  const material = new THREE.LineBasicMaterial({ color, transparent: opacity < 1, opacity, depthWrite: opacity === 1 });
  const object = new THREE.LineSegments(geometry, material);
  object.frustumCulled = false;
  return object;
}

// Where there are many, single lines have to be faint for the faces to be seen.
function edgeOpacity(faces) {
  return Math.min(0.5, Math.max(0.06, 30 / Math.sqrt(faces + 1)));
}

function points(positions, color) {
  const geometry = new THREE.BufferGeometry();
  geometry.setAttribute('position', attribute(positions, 3));
  const material = new THREE.PointsMaterial({ color, size: 2.4, sizeAttenuation: false });
  const object = new THREE.Points(geometry, material);
  object.frustumCulled = false;
  return object;
}

// The ends of the edges of one kind, of all sets: an edge runs from a corner to the next one of its face.
function markedEdges(sets, bit) {
  let count = 0;
  for (const set of sets) {
    if (!set.marks) continue;
    for (let i = 0; i < set.marks.length; i += 1) if (set.marks[i] & bit) count += 1;
  }
  const ends = new Float32Array(count * 6);
  let place = 0;
  for (const { marks, positions } of sets) {
    if (!marks) continue;
    for (let i = 0; i < marks.length; i += 1) {
      if (!(marks[i] & bit)) continue;
      const next = i % 3 === 2 ? i - 2 : i + 1;
      for (let axis = 0; axis < 3; axis += 1) {
        ends[place + axis] = positions[i * 3 + axis];
        ends[place + 3 + axis] = positions[next * 3 + axis];
      }
      place += 6;
    }
  }
  return ends;
}

export class ModelGroup {
  // look: {smooth, textures, textureOf(material), ink, marks: {boundary, sharp, seam}}
  constructor(frame, look) {
    this.frame = frame;
    this.group = new THREE.Group();
    this.faces = new THREE.Group();
    this.edges = new THREE.Group();
    this.points = new THREE.Group();
    this.marks = new THREE.Group();
    this.bounds = new THREE.Group();
    this.group.add(this.faces, this.edges, this.points, this.marks, this.bounds);
    const sets = frame.faceSets();
    this.sets = sets;
    this.hasNormals = sets.some((set) => set.normals);
    this.setLook(look);
    for (const batch of frame.batches('edges')) {
      this.edges.add(lines(frame.positions(batch), look.ink, edgeOpacity(frame.head.faces)));
    }
    for (const batch of frame.batches('bounds')) this.bounds.add(lines(frame.positions(batch), colorOf(batch.color), 0.35));
    for (const batch of frame.batches('points')) this.points.add(points(frame.positions(batch), look.ink));
    if (sets.some((set) => set.marks)) {
      for (const [name, bit] of KINDS) {
        const object = lines(markedEdges(sets, bit), look.marks[name], 1);
        object.renderOrder = 2;
        object.material.depthFunc = THREE.LessEqualDepth;
        this.marks.add(object);
      }
    }
  }

  // Shading and textures; the buffers stay.
  setLook(look) {
    disposeAll(this.faces);
    this.faces.clear();
    for (const set of this.sets) this.faces.add(faceMesh(set, look));
    this.look = look;
    if (this.heat) this.setHeat(this.heat);
  }

  // The corners as points, for the switch that shows vertices of a full frame.
  showCorners(on) {
    if (this.frame.head.points_only) return;
    disposeAll(this.points);
    this.points.clear();
    if (on) for (const set of this.sets) this.points.add(points(set.positions, this.look.ink));
  }

  // colors: r, g, b per corner, or null for the materials' own
  setHeat(colors) {
    this.heat = colors;
    this.faces.children.forEach((mesh, place) => {
      const set = this.sets[place];
      if (!colors) {
        this.restoreMaterial(mesh, set);
        return;
      }
      const start = set.firstCorner * 3;
      mesh.geometry.setAttribute('color', attribute(colors.subarray(start, start + set.positions.length), 3));
      Object.assign(mesh.material, { vertexColors: true, map: null, opacity: 1, transparent: false, depthWrite: true });
      mesh.material.color.set(0xffffff);
      mesh.material.needsUpdate = true;
    });
  }

  restoreMaterial(mesh, set) {
    if (!mesh.material.vertexColors) return;
    const fresh = faceMesh(set, this.look);
    mesh.material.dispose();
    mesh.material = fresh.material;
    mesh.geometry.deleteAttribute('color');
    fresh.geometry.dispose();
  }

  dispose() {
    for (const part of this.group.children) disposeAll(part);
  }
}

function disposeAll(group) {
  for (const object of group.children) {
    object.geometry.dispose();
    object.material.dispose();
  }
}
