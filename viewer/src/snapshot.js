// A picture of the model for `mirel snapshot`: the page draws it and hands it over as PNG.
import { updateHeat } from './distance_map.js';
import { refetch } from './frames.js';
import { applySwitches } from './looks.js';
import { setComparing } from './original.js';
import { element, page, stage } from './page.js';
import { server } from './server.js';

const LARGEST = 8192;

function dimension(text) {
  const value = Number(text);
  if (!(Number.isInteger(value) && value >= 16 && value <= LARGEST)) throw new Error(`not a size: ${text}`);
  return value;
}

async function texturesArrived() {
  for (let tries = 0; page.arriving > 0 && tries < 600; tries += 1) {
    await new Promise((resolve) => setTimeout(resolve, 50));
  }
}

function label(paper, text, x, y, size) {
  paper.font = `600 ${size}px system-ui, "DejaVu Sans", sans-serif`;
  paper.textAlign = 'center';
  paper.textBaseline = 'alphabetic';
  paper.fillStyle = '#2b3431';
  paper.fillText(text, x, y);
}

// wanted: {width, height, wireframe, compare, heat} of the page's address
export async function takeSnapshot(wanted) {
  const width = dimension(wanted.get('width'));
  const height = dimension(wanted.get('height'));
  // Room for the words below the models.
  const size = Math.max(11, Math.round(height / 34));
  const band = wanted.has('compare') ? Math.round(size * 2.2) : 0;
  stage.setFixedSize(width, height - band);
  if (wanted.has('wireframe')) {
    element('show-edges').checked = true;
    await refetch();
  }
  if (wanted.has('compare')) {
    element('compare').checked = true;
    await setComparing(true);
  }
  if (wanted.has('heat')) {
    element('heat').checked = true;
    await updateHeat();
  }
  applySwitches();
  await texturesArrived();
  stage.fit();
  stage.draw();

  const picture = document.createElement('canvas');
  picture.width = width;
  picture.height = height;
  const paper = picture.getContext('2d');
  const sky = paper.createLinearGradient(0, 0, 0, height);
  sky.addColorStop(0, '#f6f8f8');
  sky.addColorStop(1, '#dde3e2');
  paper.fillStyle = sky;
  paper.fillRect(0, 0, width, height);
  // In the same task as the drawing: afterwards the canvas may be empty.
  paper.drawImage(element('canvas'), 0, 0);
  if (wanted.has('compare')) {
    label(paper, element('label-original').textContent, width / 4, height - size, size);
    label(paper, element('label-reduced').textContent, (3 * width) / 4, height - size, size);
  }
  const blob = await new Promise((resolve) => picture.toBlob(resolve, 'image/png'));
  if (!blob) throw new Error('the picture is too large for this browser');
  await server.picture(blob);
}
