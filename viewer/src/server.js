// What the page asks of the server. Addresses are relative: the secret is part of the page's own.

// An answer that says no, with the server's reason.
export class ServerError extends Error {}

async function answered(promise) {
  let response;
  try {
    response = await promise;
  } catch {
    throw new ServerError('The viewer has ended. Start mirel view again.');
  }
  if (response.ok) return response;
  let reason = `status ${response.status}`;
  try {
    reason = (await response.json()).error ?? reason;
  } catch {
    // No JSON: the status says what there is to say.
  }
  throw new ServerError(reason);
}

function post(address, message) {
  const body = JSON.stringify(message);
  return answered(fetch(address, { method: 'POST', headers: { 'content-type': 'application/json' }, body }));
}

function query(layers) {
  const names = Object.keys(layers).filter((name) => layers[name]);
  return names.length ? `?${names.map((name) => `${name}=1`).join('&')}` : '';
}

export const server = {
  async state() {
    return (await answered(fetch('state'))).json();
  },
  // {to, value, live, edges, marks} -> the frame's bytes
  async move(message) {
    return (await post('move', message)).arrayBuffer();
  },
  async frame(layers) {
    return (await answered(fetch(`frame${query(layers)}`))).arrayBuffer();
  },
  async original(layers) {
    return (await answered(fetch(`original${query(layers)}`))).arrayBuffer();
  },
  async distances() {
    return (await answered(fetch('distances'))).arrayBuffer();
  },
  // {step, loads, deviation}; may take seconds
  async deviation() {
    return (await answered(fetch('deviation'))).json();
  },
  async rebuild(settings) {
    return (await post('rebuild', settings)).json();
  },
  async picture(blob) {
    return answered(fetch('picture', { method: 'POST', headers: { 'content-type': 'image/png' }, body: blob }));
  },
  async failure(reason) {
    return answered(fetch('failure', { method: 'POST', headers: { 'content-type': 'text/plain' }, body: reason }));
  },
  async download(extension) {
    const response = await answered(fetch(`download/${extension}`));
    const name = /filename\*=UTF-8''([^;]+)/.exec(response.headers.get('content-disposition') ?? '')?.[1];
    return { blob: await response.blob(), name: name ? decodeURIComponent(name) : `model.${extension}` };
  },
  // handlers: {name: function(data)}
  events(handlers) {
    const source = new EventSource('events');
    for (const [name, handler] of Object.entries(handlers)) {
      source.addEventListener(name, (event) => handler(JSON.parse(event.data)));
    }
    return source;
  },
};
