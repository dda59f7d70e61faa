// Another hierarchy in place of the present one: built here with other settings, or by another page.
import { refetch } from './frames.js';
import { complain, say } from './message.js';
import { forgetOriginal } from './original.js';
import { element, page } from './page.js';
import { showState } from './panel.js';
import { server } from './server.js';
import { SettingsForm } from './settings_form.js';
import { forgetTextures } from './textures.js';

const settings = new SettingsForm(element('settings-form'), rebuild);

export function takeState(state) {
  page.state = state;
  forgetTextures();
  showState(state);
  if (state.settings) settings.fill(state.settings);
  element('settings').hidden = !state.settings;
}

async function anotherModel(state) {
  takeState(state);
  forgetOriginal();
  await refetch();
}

async function rebuild(values) {
  settings.begin(page.state.build_seconds);
  try {
    await anotherModel(await server.rebuild(values));
    say(null);
  } catch (error) {
    complain(error);
  } finally {
    settings.end();
  }
}

// Another page has built another hierarchy.
export async function rebuilt({ loads }) {
  if (!page.ready || settings.busy || loads === page.state.loads) return;
  try {
    await anotherModel(await server.state());
  } catch (error) {
    complain(error);
  }
}

export function buildPhase(text) {
  settings.phase(text);
}
