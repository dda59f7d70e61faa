// The slider's scale: equal ways on it are equal ratios of face counts, so that 100 faces of 1,000,000 can be aimed at.

export class FaceScale {
  constructor(fewest, most, length) {
    this.fewest = Math.max(0, fewest);
    this.most = Math.max(this.fewest, most);
    this.length = length;
  }

  // place on the slider (0: fewest, length: all) -> faces
  faces(place) {
    if (place <= 0) return this.fewest;
    if (place >= this.length) return this.most;
    const low = Math.log(this.fewest + 1);
    const high = Math.log(this.most + 1);
    return Math.round(Math.exp(low + ((high - low) * place) / this.length) - 1);
  }

  place(faces) {
    const low = Math.log(this.fewest + 1);
    const high = Math.log(this.most + 1);
    if (high === low) return this.length;
    const share = (Math.log(faces + 1) - low) / (high - low);
    return Math.round(Math.min(1, Math.max(0, share)) * this.length);
  }
}
