// The picture: scenes, lights, one camera for both halves, and drawing on demand only.
import * as THREE from 'three';
import { OrbitControls } from 'three/addons/controls/OrbitControls.js';

const FIELD_OF_VIEW = 35;
// How many points of the model decide how near the camera goes.
const FITTED_POINTS = 4000;

export class Stage {
  constructor(canvas) {
    this.canvas = canvas;
    this.outline = [];
    this.renderer = new THREE.WebGLRenderer({ canvas, antialias: true, alpha: true });
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));
    this.renderer.setClearColor(0x000000, 0);
    this.renderer.autoClear = false;
    this.camera = new THREE.PerspectiveCamera(FIELD_OF_VIEW, 1, 0.01, 1000);
    this.controls = new OrbitControls(this.camera, canvas);
    this.controls.enableDamping = false;
    this.controls.zoomToCursor = true;
    this.controls.addEventListener('change', () => this.invalidate());
    this.scenes = { reduced: this.makeScene(), original: this.makeScene() };
    this.comparing = false;
    this.bounds = null;
    this.up = 'y';
    this.touched = false;
    this.controls.addEventListener('start', () => {
      this.touched = true;
    });
    new ResizeObserver(() => this.resize()).observe(canvas.parentElement);
    this.resize();
  }

  makeScene() {
    const scene = new THREE.Scene();
    const sky = new THREE.HemisphereLight(0xffffff, 0x77736c, 0.85);
    // Key and fill come from beside the camera, so that no side of a model is ever dark.
    const key = new THREE.DirectionalLight(0xffffff, 1.8);
    const fill = new THREE.DirectionalLight(0xdfe9ff, 0.35);
    scene.add(sky, key, key.target, fill, fill.target);
    scene.userData = { sky, key, fill, model: null };
    return scene;
  }

  // which: 'reduced' or 'original'
  setModel(which, group) {
    const scene = this.scenes[which];
    if (scene.userData.model) scene.remove(scene.userData.model);
    scene.userData.model = group;
    if (group) scene.add(group);
    this.invalidate();
  }

  setComparing(on) {
    this.comparing = on;
    this.resize();
    if (!this.touched) this.fit();
  }

  // bounds: [[x, y, z], [x, y, z]]; positions: arrays of x, y, z, some of which are taken to fit the picture closely
  setBounds(bounds, positions = []) {
    this.bounds = bounds && new THREE.Box3(new THREE.Vector3(...bounds[0]), new THREE.Vector3(...bounds[1]));
    const count = positions.reduce((sum, array) => sum + array.length / 3, 0);
    const every = Math.max(1, Math.floor(count / FITTED_POINTS));
    this.outline = [];
    for (const array of positions) {
      for (let i = 0; i < array.length / 3; i += every) this.outline.push(new THREE.Vector3().fromArray(array, i * 3));
    }
    for (let corner = 0; this.bounds && this.outline.length === 0 && corner < 8; corner += 1) {
      const pick = (bit) => (corner & bit ? bounds[1] : bounds[0]);
      this.outline.push(new THREE.Vector3(pick(1)[0], pick(2)[1], pick(4)[2]));
    }
  }

  setUp(axis) {
    this.up = axis;
    this.camera.up.set(0, axis === 'y' ? 1 : 0, axis === 'z' ? 1 : 0);
    // The controls take the camera's up when they are made.
    const target = this.controls.target.clone();
    this.controls.dispose();
    this.controls = new OrbitControls(this.camera, this.canvas);
    this.controls.zoomToCursor = true;
    this.controls.target.copy(target);
    this.controls.addEventListener('change', () => this.invalidate());
    this.controls.addEventListener('start', () => {
      this.touched = true;
    });
    for (const scene of Object.values(this.scenes)) scene.userData.sky.position.copy(this.camera.up);
  }

  // Looks at the whole model from the front, right and above.
  fit({ keepDirection = false } = {}) {
    if (!this.bounds || this.bounds.isEmpty()) return;
    const sphere = this.bounds.getBoundingSphere(new THREE.Sphere());
    const radius = sphere.radius > 0 ? sphere.radius : 1;
    const direction = new THREE.Vector3();
    if (keepDirection) direction.subVectors(this.camera.position, this.controls.target).normalize();
    if (!keepDirection || direction.lengthSq() === 0) {
      direction.set(0.55, this.up === 'y' ? 0.42 : -0.85, this.up === 'y' ? 0.85 : 0.42).normalize();
    }
    const { center, distance } = this.fittingPlace(direction, sphere.center, radius);
    this.controls.target.copy(center);
    this.camera.position.copy(center).addScaledVector(direction, distance);
    this.camera.near = radius / 500;
    this.camera.far = radius * 60;
    this.controls.minDistance = radius / 200;
    this.controls.maxDistance = radius * 25;
    this.camera.updateProjectionMatrix();
    this.controls.update();
    this.invalidate();
  }

  // Where to look, and from how far, so that the model fills the picture: its outline is put in the middle across the
  // view, and the camera as near as all of it can be seen from.
  fittingPlace(direction, middle, radius) {
    const right = new THREE.Vector3().crossVectors(this.camera.up, direction).normalize();
    const top = new THREE.Vector3().crossVectors(direction, right);
    const tangent = Math.tan((FIELD_OF_VIEW * Math.PI) / 360);
    const center = middle.clone();
    let distance = radius;
    // The nearer side looks larger, so the middle of the picture is found by looking again.
    for (let round = 0; round < 4; round += 1) {
      const seen = { left: Infinity, right: -Infinity, bottom: Infinity, top: -Infinity };
      distance = radius * 0.2;
      for (const point of this.outline) {
        const offset = point.clone().sub(center);
        const depth = offset.dot(direction);
        distance = Math.max(distance, Math.abs(offset.dot(right)) / (tangent * this.camera.aspect) + depth);
        distance = Math.max(distance, Math.abs(offset.dot(top)) / tangent + depth);
      }
      for (const point of this.outline) {
        const offset = point.clone().sub(center);
        const scale = distance / Math.max(distance - offset.dot(direction), distance * 0.05);
        seen.left = Math.min(seen.left, offset.dot(right) * scale);
        seen.right = Math.max(seen.right, offset.dot(right) * scale);
        seen.bottom = Math.min(seen.bottom, offset.dot(top) * scale);
        seen.top = Math.max(seen.top, offset.dot(top) * scale);
      }
      center.addScaledVector(right, (seen.left + seen.right) / 2).addScaledVector(top, (seen.bottom + seen.top) / 2);
    }
    return { center, distance: distance * 1.12 };
  }

  turn(horizontal, vertical) {
    const offset = this.camera.position.clone().sub(this.controls.target);
    const upright = new THREE.Quaternion().setFromUnitVectors(this.camera.up, new THREE.Vector3(0, 1, 0));
    offset.applyQuaternion(upright);
    const place = new THREE.Spherical().setFromVector3(offset);
    place.theta -= horizontal;
    place.phi = Math.min(Math.PI - 0.01, Math.max(0.01, place.phi - vertical));
    offset.setFromSpherical(place).applyQuaternion(upright.invert());
    this.camera.position.copy(this.controls.target).add(offset);
    this.touched = true;
    this.controls.update();
    this.invalidate();
  }

  zoom(factor) {
    const offset = this.camera.position.clone().sub(this.controls.target).multiplyScalar(factor);
    this.camera.position.copy(this.controls.target).add(offset);
    this.touched = true;
    this.controls.update();
    this.invalidate();
  }

  // Makes the picture that large, whatever the window is.
  setFixedSize(width, height) {
    this.fixedSize = { clientWidth: width, clientHeight: height };
    this.renderer.setPixelRatio(1);
    this.resize();
  }

  resize() {
    const { clientWidth, clientHeight } = this.fixedSize ?? this.canvas.parentElement;
    if (clientWidth === 0 || clientHeight === 0) return;
    this.renderer.setSize(clientWidth, clientHeight, false);
    const before = this.camera.aspect;
    this.camera.aspect = (this.comparing ? clientWidth / 2 : clientWidth) / clientHeight;
    this.camera.updateProjectionMatrix();
    if (before !== this.camera.aspect && !this.touched) this.fit();
    this.invalidate();
  }

  invalidate() {
    if (this.waiting) return;
    this.waiting = requestAnimationFrame(() => this.draw());
  }

  // Draws now; afterwards the buffers are the graphics card's.
  draw() {
    if (this.waiting) cancelAnimationFrame(this.waiting);
    this.waiting = null;
    const { renderer } = this;
    const size = renderer.getSize(new THREE.Vector2());
    renderer.setScissorTest(false);
    renderer.setViewport(0, 0, size.x, size.y);
    renderer.clear();
    if (this.comparing) {
      const half = Math.floor(size.x / 2);
      renderer.setScissorTest(true);
      this.drawScene(this.scenes.original, 0, half, size.y);
      this.drawScene(this.scenes.reduced, half, size.x - half, size.y);
    } else {
      this.drawScene(this.scenes.reduced, 0, size.x, size.y);
    }
  }

  drawScene(scene, left, width, height) {
    const { key, fill } = scene.userData;
    const distance = this.camera.position.distanceTo(this.controls.target);
    const place = (light, x, y) => {
      light.position.set(x * distance, y * distance, 0.2 * distance).applyQuaternion(this.camera.quaternion);
      light.position.add(this.camera.position);
      light.target.position.copy(this.controls.target);
    };
    place(key, -0.55, 0.75);
    place(fill, 0.9, -0.1);
    this.renderer.setViewport(left, 0, width, height);
    this.renderer.setScissor(left, 0, width, height);
    this.renderer.render(scene, this.camera);
  }
}
