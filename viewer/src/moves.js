// Moves go to the server one at a time; while one is on its way only the newest wish is kept.

export class Moves {
  // send(message) -> promise
  constructor(send) {
    this.send = send;
    this.wanted = null;
    this.running = false;
  }

  get busy() {
    return this.running;
  }

  async make(message) {
    this.wanted = message;
    if (this.running) return;
    this.running = true;
    try {
      while (this.wanted) {
        const next = this.wanted;
        this.wanted = null;
        await this.send(next);
      }
    } finally {
      this.running = false;
    }
  }
}
