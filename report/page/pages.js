// The page in view: its picture, the words over it, and the frame around what a record draws.
function size(page) {
  const {width, height} = job.pages[page - 1];
  const mm = (pixels) => (pixels * 25.4 / job.resolution).toFixed(1);
  return `${mm(width)} × ${mm(height)} mm`;
}

function missing(text) {
  state.sheet = null;
  byId('view').replaceChildren(make('p', {className: 'missing'}, text));
}

// The words of a page in the order of reading: [{text, word, line}], and the whole as one string.
const texts = new Map();
function textOf(page) {
  if (!texts.has(page)) {
    const lines = data('text-' + page);
    if (!lines) return null;
    let whole = '';
    const starts = [];
    for (const [, words] of lines) {
      for (const word of words) {
        starts.push(whole.length);
        whole += word[0].toLowerCase() + ' ';
      }
    }
    texts.set(page, {lines, whole, starts});
  }
  return texts.get(page);
}

const measure = document.createElement('canvas').getContext('2d');
// A word in picture pixels: as wide as on the paper, turned with its line. It takes no room in the line, so that each
// is placed from the line's start, and yet stands in it, so that the line is copied as one.
function placeWord(span, [text, x, y, length, ascent, descent], angle, {left, top, scale}) {
  const height = Math.max((ascent + descent) * scale, 1);
  measure.font = `${height}px sans-serif`;
  const natural = measure.measureText(text).width || 1;
  span.style.fontSize = height + 'px';
  span.style.width = natural + 'px';
  span.style.marginRight = -natural + 'px';
  span.style.transformOrigin = `0 ${ascent * scale}px`;
  span.style.transform = `translate(${(x + left) * scale}px, ${(y + top - ascent) * scale}px) ` +
      `rotate(${-angle}deg) scaleX(${Math.max(length * scale, 1) / natural})`;
}

function layerOf(page, place) {
  const layer = make('div', {className: 'layer'});
  const spans = [];
  for (const [angle, words] of (textOf(page) || {lines: []}).lines) {
    const line = make('p');
    for (const word of words) {
      const span = make('span', {}, word[0] + ' ');
      placeWord(span, word, angle, place);
      line.append(span);
      spans.push(span);
    }
    layer.append(line);
  }
  return {layer, spans};
}

function drawPage() {
  const picture = data('picture-' + state.page);
  if (!picture) return missing(`Page ${state.page} is being read …`);
  if (picture.error) return missing(`Page ${state.page} cannot be drawn: ${picture.error}`);
  const {left, top} = {left: job.pages[state.page - 1].printable[0], top: job.pages[state.page - 1].printable[1]};
  const place = {left, top, scale: picture.scale};
  const {layer, spans} = layerOf(state.page, place);
  const image = make('img', {alt: `Picture of page ${state.page}`, src: source(picture)});
  const spot = make('div', {className: 'spot', hidden: true});
  const sheet = make('div', {className: 'sheet'}, image, layer, spot);
  state.sheet = {sheet, layer, spans, spot, picture, place};
  byId('view').replaceChildren(sheet);
  fit();
  markMatches();
}

function fit() {
  if (!state.sheet) return;
  const {picture, sheet, layer} = state.sheet;
  const view = byId('view');
  const inner = view.clientWidth - 8;
  let width = inner;
  if (state.zoom === 'page') {
    const height = Math.max(window.innerHeight - 120, 200);
    width = Math.min(inner, height * picture.width / picture.height);
  } else if (state.zoom !== 'width') {
    width = picture.width / picture.scale / job.resolution * 96 * Number(state.zoom);
  }
  const scale = width / picture.width;
  state.sheet.shown = scale;
  sheet.style.width = width + 'px';
  sheet.style.height = picture.height * scale + 'px';
  layer.style.transform = `scale(${scale})`;
  placeSpot();
}

function placeSpot() {
  const {spot, place, at, shown: scale} = state.sheet;
  spot.hidden = !at;
  if (!at) return;
  const [left, top, right, bottom] = at;
  const toSheet = (pixels) => pixels * place.scale * scale;
  spot.style.left = toSheet(left + place.left) - 2 + 'px';
  spot.style.top = toSheet(top + place.top) - 2 + 'px';
  spot.style.width = Math.max(toSheet(right - left), 1) + 4 + 'px';
  spot.style.height = Math.max(toSheet(bottom - top), 1) + 4 + 'px';
}

function point(record) {
  if (!state.sheet) return;
  state.sheet.at = record && record.at;
  placeSpot();
}

function goToPage(page, announce) {
  state.page = Math.min(Math.max(page || 1, 1), job.pages.length);
  byId('number').value = state.page;
  byId('previous').disabled = state.page === 1;
  byId('next').disabled = state.page === job.pages.length;
  byId('view').scrollTop = byId('view').scrollLeft = 0;
  if (shown.has(state.page)) {
    drawPage();
  } else {
    missing(`Page ${state.page} (${size(state.page)}) is left out of this file. ` +
            `To see it, run: kvjob report --pages ${state.page} -o page.html ${job.name}`);
  }
  listRecords();
  if (announce) byId('announcement').textContent = `Page ${state.page} of ${job.pages.length}`;
}
