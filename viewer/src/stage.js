// The picture: scenes, lights, one camera for both halves, and drawing on demand only.
import * as THREE from 'three';
import { OrbitControls } from 'three/addons/controls/OrbitControls.js';

const FIELD_OF_VIEW = 35;

export class Stage {
  constructor(canvas, { onDrawn = () => {} } = {}) {
    this.canvas = canvas;
    this.onDrawn = onDrawn;
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
    const sky = new THREE.HemisphereLight(0xffffff, 0x8d8a84, 1.15);
    // Key and fill come from beside the camera, so that no side of a model is ever dark.
    const key = new THREE.DirectionalLight(0xffffff, 1.75);
    const fill = new THREE.DirectionalLight(0xdfe9ff, 0.45);
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

  // bounds: [[x, y, z], [x, y, z]]
  setBounds(bounds) {
    this.bounds = bounds && new THREE.Box3(new THREE.Vector3(...bounds[0]), new THREE.Vector3(...bounds[1]));
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
    this.controls.target.copy(sphere.center);
    this.camera.position.copy(sphere.center).addScaledVector(direction, this.fittingDistance(direction, radius));
    this.camera.near = radius / 500;
    this.camera.far = radius * 60;
    this.controls.minDistance = radius / 200;
    this.controls.maxDistance = radius * 25;
    this.camera.updateProjectionMatrix();
    this.controls.update();
    this.invalidate();
  }

  // The nearest that a camera in this direction can be with all corners of the box in its picture.
  fittingDistance(direction, radius) {
    const right = new THREE.Vector3().crossVectors(this.camera.up, direction).normalize();
    const top = new THREE.Vector3().crossVectors(direction, right);
    const tangent = Math.tan((FIELD_OF_VIEW * Math.PI) / 360);
    const center = this.bounds.getCenter(new THREE.Vector3());
    let distance = radius * 0.2;
    for (let corner = 0; corner < 8; corner += 1) {
      const point = new THREE.Vector3(
        corner & 1 ? this.bounds.max.x : this.bounds.min.x,
        corner & 2 ? this.bounds.max.y : this.bounds.min.y,
        corner & 4 ? this.bounds.max.z : this.bounds.min.z,
      ).sub(center);
      const wide = Math.abs(point.dot(right)) / (tangent * this.camera.aspect);
      const high = Math.abs(point.dot(top)) / tangent;
      distance = Math.max(distance, Math.max(wide, high) + point.dot(direction));
    }
    return distance * 1.08;
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

  resize() {
    const { clientWidth, clientHeight } = this.canvas.parentElement;
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
    this.onDrawn();
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
