// The materials' pictures, fetched when a model is first drawn with them.
import * as THREE from 'three';
import { TGALoader } from 'three/addons/loaders/TGALoader.js';
import { page, stage } from './page.js';

// Null where the material has none.
export function textureOf(material) {
  const type = page.state.materials[material]?.texture;
  if (!type) return null;
  const known = page.textures.get(material);
  if (known) return known;
  page.arriving += 1;
  const arrived = () => {
    page.arriving -= 1;
    stage.invalidate();
  };
  const loader = type === 'image/x-tga' ? new TGALoader() : new THREE.TextureLoader();
  const address = `texture/${material}?${page.state.loads}`;
  const texture = loader.load(address, arrived, undefined, arrived);
  texture.colorSpace = THREE.SRGBColorSpace;
  texture.wrapS = THREE.RepeatWrapping;
  texture.wrapT = THREE.RepeatWrapping;
  texture.anisotropy = 8;
  page.textures.set(material, texture);
  return texture;
}

export function forgetTextures() {
  for (const texture of page.textures.values()) texture.dispose();
  page.textures.clear();
}
