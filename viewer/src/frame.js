// Answers in bytes, taken apart without copying: a head in JSON, then buffers that go to the graphics card as they are.

const MAGIC = 0x464c524d; // 'MRLF', little-endian

class Package {
  constructor(bytes) {
    const words = new DataView(bytes);
    if (bytes.byteLength < 8 || words.getUint32(0, true) !== MAGIC) throw new Error('not an answer of the viewer');
    const length = words.getUint32(4, true);
    this.head = JSON.parse(new TextDecoder().decode(new Uint8Array(bytes, 8, length)));
    this.bytes = bytes;
    this.base = 8 + length;
  }

  floats(offset, count) {
    return new Float32Array(this.bytes, this.base + offset, count);
  }

  numbers(offset, count) {
    return new Uint32Array(this.bytes, this.base + offset, count);
  }

  octets(offset, count) {
    return new Uint8Array(this.bytes, this.base + offset, count);
  }
}

// Distances from the original, given for each vertex: one for each corner, in the order in which corners are drawn, and
// the diagonal of the original.
export function cornerDistances(bytes) {
  const answer = new Package(bytes);
  const { vertices, faces, diagonal } = answer.head;
  const distances = answer.floats(answer.head.distances, vertices);
  const corners = answer.numbers(answer.head.corners, faces * 3);
  return { distances: Float32Array.from(corners, (vertex) => distances[vertex]), diagonal };
}

// What was drawn.
export class Frame extends Package {
  // The batches with a role: 'faces', 'edges', 'points' or 'bounds'.
  batches(role) {
    return this.head.batches.filter((batch) => batch.role === role);
  }

  positions(batch) {
    return this.floats(batch.offset, batch.count * 3);
  }

  // What was drawn as triangles, with the attributes that the mesh library has for them:
  // {positions, color, material, uvs, normals, marks, transformation, firstCorner} per face set that has faces.
  faceSets() {
    const drawn = this.batches('faces');
    const sets = [];
    let next = 0;
    let firstCorner = 0;
    for (const mesh of this.head.meshes) {
      let corner = 0;
      mesh.corners.forEach((count, place) => {
        // A set without faces was not drawn.
        if (count > 0) {
          const batch = drawn[next];
          next += 1;
          const part = (offset, width) =>
            offset === null || offset === undefined ? null : this.floats(offset + corner * width * 4, count * width);
          sets.push({
            positions: this.positions(batch),
            color: batch.color,
            material: mesh.materials[place] ?? null,
            uvs: part(mesh.uvs, 2),
            normals: part(mesh.normals, 3),
            marks: Number.isInteger(mesh.marks) ? this.octets(mesh.marks + corner, count) : null,
            transformation: mesh.transformation,
            firstCorner,
          });
          firstCorner += count;
        }
        corner += count;
      });
    }
    return sets;
  }

  // Corners of all triangles.
  get cornerCount() {
    return this.batches('faces').reduce((sum, batch) => sum + batch.count, 0);
  }
}
