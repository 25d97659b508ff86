// The sections beside the pages: fonts, images, statistics, check, attached data.
function table(caption, heads, rows) {
  const cell = (tag, content, index, extra) => make(tag, {className: heads[index].className || '', ...extra}, content);
  return make('div', {className: 'scroll', tabIndex: 0, role: 'region', 'aria-label': caption},
              make('table', {}, make('caption', {className: 'hidden'}, caption),
                   make('thead', {}, make('tr', {}, ...heads.map((head, i) => cell('th', head.text, i, {scope: 'col'})))),
                   make('tbody', {}, ...rows.map((row) => make('tr', {}, ...row.map(
                       (content, i) => i === 0 ? cell('th', content, i, {scope: 'row'}) : cell('td', content, i)))))));
}
const panel = (heading, ...content) => make('div', {className: 'panel'}, make('h3', {}, heading), ...content);
const facts = (pairs) => make('dl', {className: 'facts'},
                              ...pairs.flatMap(([name, value]) => [make('dt', {}, name), make('dd', {}, value)]));
const pageLink = (page) => make('a', {href: '#pages/' + page}, String(page));
const waiting = () => make('p', {className: 'muted'}, 'Being read …');

function pageLinks(pages) {
  return pages.flatMap((page, index) => index ? [', ', pageLink(page)] : [pageLink(page)]);
}

function fontCard(font) {
  const name = font.face || font.family || 'a font that cannot be opened';
  const style = [`weight ${font.weight}`, font.italic && 'italic', font.underline && 'underlined',
                 font.strike_out && 'struck out', font.escapement && `turned by ${font.escapement / 10}°`];
  const from = font.file ? `embedded file ${font.file}` + (font.file_bytes ? `, ${font.file_bytes.toLocaleString('en')} bytes` : '')
                         : `not in the job; shown with ${font.family ? '“' + font.family + '”' : 'nothing'}`;
  const card = make('li', {className: 'card'}, make('h3', {}, name));
  if (font.sample) {
    card.append(make('p', {className: 'paper'},
                     make('img', {src: source(font.sample), width: font.sample.width, height: font.sample.height,
                                  alt: `Sample: ${font.sample_text || count(font.glyphs, 'glyph')}`})));
  }
  card.append(make('p', {}, `${font.points} pt, ${style.filter(Boolean).join(', ')}; ${from}`),
              make('p', {}, `Defined at `, offsetOf(font.offset), `; ${count(font.glyphs, 'letter')} in ${count(font.runs, 'run')}` +
                   (font.used_on.length ? ' on page ' : ' on the pages shown'), ...pageLinks(font.used_on)));
  return card;
}

function showFonts() {
  const found = data('fonts');
  if (!found) return byId('font-list').replaceChildren(waiting());
  const {fonts, more} = found;
  byId('font-list').replaceChildren(
      fonts.length ? make('ul', {className: 'cards wide'}, ...fonts.map(fontCard)) : make('p', {}, 'The job has no fonts.'),
      more ? make('p', {className: 'muted'}, `${count(more, 'further font')} not listed here: kvjob fonts ${job.name}`) : '');
}

function imageCard(image) {
  const what = `${image.kind} of ${image.width} × ${image.height} pixels`;
  const card = make('li', {className: 'card'});
  if (image.thumbnail) {
    const small = image.width <= 64 && image.height <= 64;
    card.append(make('p', {className: 'paper thumbnail'},
                     make('img', {src: source(image.thumbnail), alt: `${what}, page ${image.page}`, className: small ? 'small' : ''})));
  }
  card.append(make('h3', {}, `${image.width} × ${image.height}`),
              make('p', {}, `${image.kind}, ${bits(image.bits)}, ${image.encoding}, ${image.bytes.toLocaleString('en')} bytes`),
              make('p', {}, 'Page ', pageLink(image.page || 1), ', ', offsetOf(image.offset)));
  return card;
}

function showImages() {
  const found = data('images');
  if (!found) return byId('image-list').replaceChildren(waiting());
  const {images, more} = found;
  byId('image-list').replaceChildren(
      images.length ? make('ul', {className: 'cards'}, ...images.map(imageCard)) : make('p', {}, 'The job has no images.'),
      more ? make('p', {className: 'muted'}, `${count(more, 'further image')} not listed here: kvjob images ${job.name}`) : '');
}

function recordTable() {
  const largest = Math.max(...job.records.map(({bytes}) => bytes), 1);
  return table('Records by type',
               [{text: 'Record'}, {text: 'Type', className: 'right number'}, {text: 'Count', className: 'right number'},
                {text: 'Bytes', className: 'right number'}, {text: 'Share of bytes', className: 'bars'}],
               [...job.records].sort((a, b) => b.bytes - a.bytes).map(({type, name, wide, count: number, bytes}) => {
                 const bar = make('span', {className: 'bar', title: (bytes * 100 / job.bytes).toFixed(1) + ' %'});
                 bar.style.width = bytes * 100 / largest + '%';
                 return [name + (wide ? ', 32-bit' : ''), String(type), number.toLocaleString('en'),
                         bytes.toLocaleString('en'), bar];
               }));
}

function pageSizes() {
  const ranges = [];
  job.pages.forEach(({width, height, orientation}, index) => {
    const last = ranges[ranges.length - 1];
    last && last.width === width && last.height === height && last.orientation === orientation
        ? last.to = index + 1 : ranges.push({width, height, orientation, from: index + 1, to: index + 1});
  });
  const rows = ranges.slice(0, 200).map(({width, height, orientation, from, to}) =>
      [from === to ? String(from) : `${from}–${to}`, size(from), `${width} × ${height}`, orientation]);
  return table('Page sizes', [{text: 'Pages'}, {text: 'Paper'}, {text: 'Pixels'}, {text: 'Orientation'}], rows);
}

function showStatistics() {
  const other = data('document-records');
  byId('numbers').replaceChildren(
      panel('Job', facts([
        ['Document', job.document || '–'], ['Application', job.application || '–'], ['File', job.name],
        ['Size', count(job.bytes, 'byte')], ['Resolution', `${job.resolution} dots per inch`],
        ['Fonts', `${count(job.fonts.definitions, 'definition')}, ${job.fonts.with_files} of them by ` +
            `${count(job.fonts.files, 'embedded file')} of ${count(job.fonts.file_bytes, 'byte')}`],
        ['Images', job.images.map(({bits: depth, encoding, count: number}) => `${number} of ${bits(depth)}, ${encoding}`).join('; ') || 'none'],
        ['Paper trays', job.trays.map(({number, name}) => `${number}: ${name}`).join('; ') || '–']])),
      panel('Pages', pageSizes()), panel('Records', recordTable()),
      panel('Records outside of pages', other ? make('ol', {className: 'record-list'}, ...other.records.slice(0, 500).map(recordItem))
                                              : waiting()));
}

function faultTable(caption, faults, withBytes) {
  const heads = [{text: 'Offset'}, ...(withBytes ? [{text: 'Bytes', className: 'number'}] : []), {text: 'What'}];
  return table(caption, heads, faults.map(({offset, bytes, message}) =>
      [offsetOf(offset), ...(withBytes ? [bytes.toLocaleString('en')] : []), message]));
}

function showCheck() {
  const left = data('left-out') || [];
  const sound = job.findings.length === 0;
  byId('findings').replaceChildren(
      panel('The format', make('p', {className: 'verdict-line' + (sound ? '' : ' bad')},
                               sound ? 'The job is sound.' : `${count(job.findings.length, 'fault')} found` +
                                   (job.findings.length >= 100 ? ', and there may be more.' : '.')),
            sound ? '' : faultTable('Faults of the format', job.findings)),
      job.lost.length ? panel('Lost in the recovery', faultTable('Bytes that are lost', job.lost, true)) : '',
      left.length ? panel('Left out of this report', faultTable('Records that cannot be shown', left)) : '');
}

function showData() {
  byId('attached').replaceChildren(
      job.data.length ? panel('Names and values', table('Names and values', [{text: 'Name'}, {text: 'Value'}],
                                                        job.data.map(({name, value}) => [name, value])))
                      : make('p', {}, 'The job has no attached data.'));
}
