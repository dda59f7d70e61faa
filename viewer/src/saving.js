// The present mesh as a file.
import { complain, say } from './message.js';
import { element } from './page.js';
import { server } from './server.js';

export async function save() {
  const button = element('save');
  button.disabled = true;
  try {
    const { blob, name } = await server.download(element('format').value);
    const link = document.createElement('a');
    link.href = URL.createObjectURL(blob);
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 60000);
    say(null);
  } catch (error) {
    complain(error);
  } finally {
    button.disabled = false;
  }
}
