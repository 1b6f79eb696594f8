// The studio page: everything it shows of an effect comes from the server's description of the
// effect's own properties (type, range, choices, texts), so a new transition needs no code here.
'use strict';

const token = new URLSearchParams(location.search).get('token') || '';
const $ = (id) => document.getElementById(id);
const kMaxUpload = 32 * 1024 * 1024;

let state = null;         // the session as the server describes it
let info = null;          // transitions, frame and thumbnail sizes
let builtFor = null;      // the transition the property page was built for
let playing = null;       // the play loop's animation frame

function address(path, params = {}) {
  const url = new URL(path, location.origin);
  for (const [key, value] of Object.entries(params)) url.searchParams.set(key, value);
  url.searchParams.set('token', token);
  return url.toString();
}

async function api(method, path, params = {}, body = undefined) {
  const response = await fetch(address(path, params),
                               { method, body, headers: { 'X-Kelo-Token': token } });
  const json = await response.json().catch(() => ({ error: response.statusText }));
  if (!response.ok) throw new Error(json.error || response.statusText);
  return json;
}

function say(text, bad = false) {
  $('message').textContent = text;
  $('message').classList.toggle('bad', bad);
}

// Runs an action of the page, showing its error instead of throwing it.
async function attempt(action) {
  try {
    await action();
  } catch (error) {
    say(error.message, true);
  }
}

// ---- The preview: one frame request at a time; while one is out, only the latest wish is kept.
let frameOut = false;
let frameAgain = false;

function fnv1a(bytes) {
  let hash = 0x811c9dc5;
  for (const byte of bytes) hash = Math.imul(hash ^ byte, 0x01000193) >>> 0;
  return hash.toString(16);
}

async function fetchFrame() {
  const progress = $('scrubber').value / 1000;
  const started = performance.now();
  const response = await fetch(address(`/api/sessions/${state.session}/frame`, { progress }),
                               { headers: { 'X-Kelo-Token': token } });
  if (response.status === 409) return;  // a later request took its place
  if (!response.ok) throw new Error((await response.json()).error);
  const bytes = new Uint8Array(await response.arrayBuffer());
  const preview = $('preview');
  const old = preview.src;
  preview.src = URL.createObjectURL(new Blob([bytes], { type: 'image/jpeg' }));
  if (old.startsWith('blob:')) URL.revokeObjectURL(old);
  preview.dataset.hash = fnv1a(bytes);
  preview.dataset.progress = progress;
  preview.dataset.frames = Number(preview.dataset.frames || 0) + 1;
  $('frame-time').textContent = `${Math.round(performance.now() - started)} ms`;
}

async function showFrame() {
  if (!state) return;
  if (frameOut) {
    frameAgain = true;
    return;
  }
  frameOut = true;
  try {
    do {
      frameAgain = false;
      await fetchFrame();
    } while (frameAgain);
  } catch (error) {
    say(error.message, true);
  } finally {
    frameOut = false;
  }
}

function scrubbed() {
  $('progress-label').textContent = ($('scrubber').value / 1000).toFixed(2);
  showFrame();
}

function play() {
  if (playing !== null) {
    cancelAnimationFrame(playing);
    playing = null;
    $('play').textContent = 'Play';
    return;
  }
  const seconds = Number($('export-duration').value) || 1;
  const start = performance.now();
  $('play').textContent = 'Stop';
  const step = (now) => {
    const t = Math.min(1, (now - start) / (seconds * 1000));
    $('scrubber').value = Math.round(t * 1000);
    scrubbed();
    if (t < 1) {
      playing = requestAnimationFrame(step);
    } else {
      playing = null;
      $('play').textContent = 'Play';
    }
  };
  playing = requestAnimationFrame(step);
}

// ---- The property page, generated from the properties the effect reports.
function control(property) {
  const id = `property-${property.id}`;
  const send = (value) => attempt(async () => {
    state = await api('POST', `/api/sessions/${state.session}/property`,
                      { id: property.id, value });
    syncValues();
    say(`${property.name} = ${state.properties.find((p) => p.id === property.id)?.text ?? value}`);
    showFrame();
  });
  if (property.type === 'choice') {
    const select = document.createElement('select');
    select.id = id;
    for (const choice of property.choices) select.add(new Option(choice.text, choice.value));
    select.addEventListener('change', () => send(select.value));
    return select;
  }
  if (property.type === 'boolean') {
    const box = document.createElement('input');
    box.type = 'checkbox';
    box.id = id;
    box.addEventListener('change', () => send(box.checked ? 'true' : 'false'));
    return box;
  }
  if (['integer', 'float', 'double', 'colour'].includes(property.type)) {
    const pair = document.createElement('span');
    pair.className = 'pair';
    const number = document.createElement('input');
    number.type = 'number';
    number.id = id;
    number.step = property.type === 'float' || property.type === 'double' ? 'any' : '1';
    if ('min' in property) {
      number.min = property.min;
      number.max = property.max;
      const slider = document.createElement('input');
      slider.type = 'range';
      slider.min = property.min;
      slider.max = property.max;
      slider.step = number.step;
      slider.dataset.twin = id;
      slider.setAttribute('aria-label', property.name);
      slider.addEventListener('input', () => { number.value = slider.value; });
      slider.addEventListener('change', () => send(slider.value));
      pair.append(slider);
    }
    number.addEventListener('change', () => send(number.value));
    pair.prepend(number);
    return pair;
  }
  if (property.type === 'text') {
    const text = document.createElement('input');
    text.id = id;
    text.addEventListener('change', () => send(text.value));
    return text;
  }
  const shown = document.createElement('span');
  shown.id = id;
  shown.className = 'none';
  return shown;
}

function buildPage() {
  const page = $('properties');
  page.replaceChildren();
  if (state.properties.length === 0) {
    const none = document.createElement('p');
    none.className = 'none';
    none.textContent = 'This transition has no settings.';
    page.append(none);
  }
  for (const property of state.properties) {
    const row = document.createElement('div');
    row.className = 'property';
    row.title = property.constraint;
    const label = document.createElement('label');
    label.htmlFor = `property-${property.id}`;
    label.textContent = property.name;
    row.append(label, control(property));
    page.append(row);
  }
  builtFor = state.transition;
  $('effect-name').textContent = state.transition;
  $('randomize').disabled = !state.randomize;
  $('save').disabled = $('load').disabled = !state.persist;
  $('settings-file').value = `${state.transition}.xml`;
}

function syncValues() {
  if (builtFor !== state.transition) buildPage();
  for (const property of state.properties) {
    const element = $(`property-${property.id}`);
    if (!element || property.value === null) continue;
    if (element.type === 'checkbox') element.checked = Boolean(property.value);
    else if (element.tagName === 'SPAN') element.textContent = property.text ?? '';
    else element.value = property.value;
    const twin = document.querySelector(`[data-twin="${element.id}"]`);
    if (twin) twin.value = property.value;
  }
  for (const item of $('transition-list').children)
    item.classList.toggle('chosen', item.dataset.name === state.transition);
  $('from').value = state.from;
  $('to').value = state.to;
}

// ---- Transitions and pictures.
function thumbnailOf(name, progress) {
  return address('/api/thumbnail', { transition: name, from: state.from, to: state.to, progress });
}

function refreshThumbnails() {
  for (const item of $('transition-list').children)
    item.querySelector('img').src = thumbnailOf(item.dataset.name, 0.35);
}

function buildTransitions() {
  const list = $('transition-list');
  for (const transition of info.transitions) {
    const item = document.createElement('li');
    item.dataset.name = transition.name;
    const thumb = document.createElement('img');
    thumb.alt = '';
    thumb.width = info.thumbWidth;
    thumb.height = info.thumbHeight;
    const name = document.createElement('span');
    name.textContent = transition.name;
    item.append(thumb, name);
    // The thumbnail plays while the pointer rests on it.
    let timer = null;
    item.addEventListener('mouseenter', () => {
      let step = 0;
      timer = setInterval(() => { thumb.src = thumbnailOf(transition.name, (step++ % 9) / 8); }, 180);
    });
    item.addEventListener('mouseleave', () => {
      clearInterval(timer);
      thumb.src = thumbnailOf(transition.name, 0.35);
    });
    item.addEventListener('click', () => attempt(async () => {
      state = await api('POST', `/api/sessions/${state.session}/transition`,
                        { name: transition.name });
      syncValues();
      say(transition.name);
      showFrame();
    }));
    list.append(item);
  }
}

async function loadPictures() {
  const { pictures } = await api('GET', '/api/pictures');
  for (const select of [$('from'), $('to')]) {
    select.replaceChildren(...pictures.map((p) => new Option(`${p.id}: ${p.name}`, p.id)));
  }
}

async function choosePictures(from, to) {
  state = await api('POST', `/api/sessions/${state.session}/pictures`, { from, to });
  syncValues();
  refreshThumbnails();
  showFrame();
}

async function upload(files) {
  for (const file of files) {
    if (file.size > kMaxUpload) throw new Error(`${file.name} is larger than 32 MiB`);
    say(`Uploading ${file.name}…`);
    const added = await api('POST', '/api/pictures', { name: file.name }, file);
    await loadPictures();
    await choosePictures(state.to, added.id);
    say(`${file.name} is now the picture entered`);
  }
}

// ---- Settings files and export.
async function listSettingsFiles() {
  const { files } = await api('GET', '/api/settings-files');
  $('settings-files').replaceChildren(...files.map((name) => new Option(name)));
}

async function exportClip() {
  const params = { format: $('export-format').value, duration: $('export-duration').value,
                   fps: $('export-fps').value };
  let job = await api('POST', `/api/sessions/${state.session}/export`, params);
  const bar = $('export-progress');
  const link = $('export-link');
  bar.hidden = false;
  link.hidden = true;
  $('export').disabled = true;
  try {
    while (job.state === 'running') {
      bar.max = job.total;
      bar.value = job.done;
      say(`Exporting ${job.done} of ${job.total} frames…`);
      await new Promise((resolve) => setTimeout(resolve, 250));
      job = await api('GET', `/api/exports/${job.export}`);
    }
    if (job.state !== 'done') throw new Error(`export failed: ${job.error}`);
    bar.value = bar.max;
    link.href = address(`/api/exports/${job.export}/file`);
    link.download = `${state.transition}.${job.format}`;
    link.textContent = `Download ${link.download}`;
    link.hidden = false;
    say(`Exported ${job.total} frames`);
  } finally {
    $('export').disabled = false;
  }
}

// ---- Start.
async function start() {
  info = await api('GET', '/api/transitions');
  state = await api('POST', '/api/sessions', { transition: info.transitions[0].name });
  await loadPictures();
  buildTransitions();
  syncValues();
  refreshThumbnails();
  showFrame();
  listSettingsFiles();
  say(`${info.transitions.length} transitions, frames of ${info.width}x${info.height}`);
  document.body.dataset.ready = 'true';
}

window.addEventListener('DOMContentLoaded', () => {
  $('scrubber').addEventListener('input', scrubbed);
  $('play').addEventListener('click', play);
  $('randomize').addEventListener('click', () => attempt(async () => {
    state = await api('POST', `/api/sessions/${state.session}/randomize`);
    syncValues();
    say('Randomized');
    showFrame();
  }));
  $('save').addEventListener('click', () => attempt(async () => {
    const saved = await api('POST', `/api/sessions/${state.session}/save`,
                            { file: $('settings-file').value });
    say(`Saved ${saved.saved}`);
    listSettingsFiles();
  }));
  $('load').addEventListener('click', () => attempt(async () => {
    state = await api('POST', `/api/sessions/${state.session}/load`,
                      { file: $('settings-file').value });
    syncValues();
    say(`Loaded ${$('settings-file').value}`);
    showFrame();
  }));
  $('export').addEventListener('click', () => attempt(exportClip));
  $('from').addEventListener('change', () => attempt(() => choosePictures($('from').value, state.to)));
  $('to').addEventListener('change', () => attempt(() => choosePictures(state.from, $('to').value)));
  $('upload').addEventListener('change', () => attempt(() => upload($('upload').files)));
  const drop = $('drop');
  for (const type of ['dragenter', 'dragover'])
    document.addEventListener(type, (event) => { event.preventDefault(); drop.classList.add('over'); });
  document.addEventListener('dragleave', () => drop.classList.remove('over'));
  document.addEventListener('drop', (event) => {
    event.preventDefault();
    drop.classList.remove('over');
    attempt(() => upload(event.dataTransfer.files));
  });
  window.addEventListener('pagehide', () => {
    if (state) fetch(address(`/api/sessions/${state.session}/close`),
                     { method: 'POST', keepalive: true, headers: { 'X-Kelo-Token': token } });
  });
  attempt(start);
});
