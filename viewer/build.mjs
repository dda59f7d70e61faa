// Bundles the page into a folder: node build.mjs FOLDER. Nothing in it is fetched from anywhere when it runs.
import { copyFileSync, mkdirSync } from 'node:fs';
import { dirname, join, resolve } from 'node:path';
import { fileURLToPath } from 'node:url';
import { build } from 'esbuild';

const source = dirname(fileURLToPath(import.meta.url));
const target = process.argv[2] && resolve(process.argv[2]);
if (!target) {
  console.error('usage: node build.mjs FOLDER');
  process.exit(1);
}
mkdirSync(target, { recursive: true });
await build({
  absWorkingDir: source,
  entryPoints: { page: 'src/main.js', style: 'src/style.css' },
  outdir: target,
  bundle: true,
  minify: true,
  format: 'esm',
  target: ['chrome100', 'firefox100', 'safari15'],
  // Licences of what is bundled stay with it.
  legalComments: 'inline',
  logLevel: 'warning',
});
for (const name of ['index.html', 'icon.svg']) {
  copyFileSync(join(source, 'src', name), join(target, name));
}
