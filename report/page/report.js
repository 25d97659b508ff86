'use strict';
// Shows the data of this file. All that comes from the job becomes text, never markup.
(() => {
  const byId = (id) => document.getElementById(id);
  const count = (number, one, many = one + 's') => `${number.toLocaleString('en')} ${number === 1 ? one : many}`;
  const hex = (offset) => '0x' + offset.toString(16).toUpperCase().padStart(8, '0');
  const loaded = () => document.readyState !== 'loading';

  function data(name) {
    const block = byId('data-' + name);
    return block && (block.nextSibling || loaded()) ? JSON.parse(block.textContent) : null;
  }

  // make('p', {className: 'muted', lang: ''}, 'text', element)
  function make(tag, properties, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties || {})) {
      name in element ? element[name] = value : element.setAttribute(name, value);
    }
    element.append(...children);
    return element;
  }
  const bits = (number) => count(number, 'bit');
  const offsetOf = (at) => make('span', {className: 'offset'}, hex(at));
  const source = (picture) => 'data:image/png;base64,' + picture.data;

  const job = data('job');
  const shown = new Set(job.shown);
  const state = {section: '', page: job.shown[0], zoom: 'width', listed: 0, records: [], sheet: null};

  // ---- Pages

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

  // ---- Records

  const kAtOnce = 200;
  const kFraming = ['offset', 'type', 'name', 'length', 'compressed_length'];
  function gistOf(record) {
    if (record.fault) return record.fault;
    if (record.text !== undefined) return `“${record.text}”`;
    if (record.encoding) return `${record.width} × ${record.height}, ${bits(record.bits)}, ${record.encoding}`;
    if (record.name === 'font definition') return `${record.face || 'file ' + record.file}, ${-record.height} pixels`;
    if (record.entries) return count(record.entry_count || record.entries.length, 'entry', 'entries');
    if (record.at) return `${record.at[2] - record.at[0]} × ${record.at[3] - record.at[1]} at ${record.at[0]}, ${record.at[1]}`;
    return Object.entries(record).filter(([name]) => !kFraming.includes(name))
        .map(([name, value]) => `${label(name)} ${typeof value === 'string' ? value : JSON.stringify(value)}`).join(', ');
  }

  const label = (name) => name.replaceAll('_', ' ');
  function fieldsOf(record) {
    const list = make('dl', {className: 'fields'});
    for (const [name, value] of Object.entries(record)) {
      if (name === 'offset' || name === 'name' || name === 'at') continue;
      const text = typeof value === 'string' ? value : JSON.stringify(value).replaceAll(',', ', ');
      list.append(make('dt', {}, label(name)), make('dd', {className: 'value'}, text));
    }
    return list;
  }

  function recordItem(record) {
    const summary = make('summary', {}, offsetOf(record.offset), make('span', {className: 'kind'}, record.name),
                         make('span', {className: 'gist'}, gistOf(record)));
    const details = make('details', {className: record.fault ? 'fault' : ''}, summary);
    details.addEventListener('toggle', () => {
      if (details.open && !details.querySelector('dl')) details.append(fieldsOf(record));
    });
    const item = make('li', {}, details);
    item.addEventListener('mouseenter', () => point(record));
    item.addEventListener('mouseleave', () => point(null));
    item.addEventListener('focusin', () => point(record));
    return item;
  }

  function chosenRecords() {
    const kind = byId('filter').value;
    return state.records.filter((record) => !kind || record.name === kind);
  }

  function listMore(least = kAtOnce) {
    const chosen = chosenRecords();
    const end = Math.min(chosen.length, state.listed + least);
    byId('records').append(...chosen.slice(state.listed, end).map(recordItem));
    state.listed = end;
    byId('more').hidden = end === chosen.length;
    byId('more').textContent = `Show more (${(chosen.length - end).toLocaleString('en')} left)`;
  }

  function relist() {
    byId('records').replaceChildren();
    state.listed = 0;
    listMore();
  }

  function listRecords() {
    const found = shown.has(state.page) ? data('records-' + state.page) : null;
    state.records = found ? found.records : [];
    byId('records-heading').textContent = found ? count(state.records.length + found.more, 'record') : 'Records';
    const kinds = new Map();
    for (const {name} of state.records) kinds.set(name, (kinds.get(name) || 0) + 1);
    byId('filter').replaceChildren(make('option', {value: ''}, 'all'),
                                   ...[...kinds].sort().map(([name, number]) => make('option', {value: name}, `${name} (${number})`)));
    byId('unlisted').hidden = !found || !found.more;
    if (found && found.more) {
      byId('unlisted').textContent = `${count(found.more, 'further record')} not listed here. All of them: ` +
          `kvjob dump --pages ${state.page} ${job.name}`;
    }
    relist();
  }

  // Opens the record that was drawn last at a point of the page.
  function openRecordAt(x, y) {
    const {place, shown: scale} = state.sheet;
    const across = x / scale / place.scale - place.left, down = y / scale / place.scale - place.top;
    const holds = ({at, name}) => at && !name.includes('clip') && at[0] <= across && across < at[2] && at[1] <= down &&
        down < at[3];
    byId('filter').value = '';
    const index = state.records.findLastIndex(holds);
    if (index < 0) return;
    relist();
    if (index >= state.listed) listMore(index + 1 - state.listed);
    const details = byId('records').children[index].firstChild;
    details.open = true;
    details.firstChild.scrollIntoView({block: 'nearest'});
    point(state.records[index]);
  }

  // ---- Search

  const search = {words: '', matches: [], at: -1, complete: true};
  function wordAt(starts, position) {
    let low = 0, high = starts.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      starts[middle] <= position ? low = middle : high = middle - 1;
    }
    return low;
  }

  function findAll(words) {
    const kMost = 10000;
    const wanted = words.toLowerCase().trim().replace(/\s+/g, ' ');
    Object.assign(search, {words, matches: [], at: -1, complete: true});
    if (!wanted) return;
    for (const page of job.shown) {
      const text = textOf(page);
      if (!text) {
        search.complete = search.complete && loaded();
        continue;
      }
      for (let at = text.whole.indexOf(wanted); at >= 0 && search.matches.length < kMost;
           at = text.whole.indexOf(wanted, at + wanted.length)) {
        search.matches.push({page, first: wordAt(text.starts, at), last: wordAt(text.starts, at + wanted.length - 1)});
      }
    }
  }

  function markMatches() {
    if (!state.sheet) return;
    const {spans} = state.sheet;
    for (const span of spans) span.classList.remove('hit', 'now');
    search.matches.forEach(({page, first, last}, index) => {
      if (page !== state.page) return;
      for (let i = first; i <= last; ++i) {
        spans[i].classList.add('hit');
        spans[i].classList.toggle('now', index === search.at);
      }
    });
  }

  function tellMatches() {
    const pages = new Set(search.matches.map(({page}) => page)).size;
    let text = '';
    if (search.words.trim()) {
      text = search.matches.length ? `${count(search.matches.length, 'match', 'matches')} on ${count(pages, 'page')}` : 'No match';
      if (search.at >= 0) text = `${search.at + 1} of ${text}; page ${search.matches[search.at].page}`;
      if (!search.complete) text += ' so far';
    }
    byId('found').textContent = text;
  }

  function step(by) {
    const words = byId('words').value;
    if (words !== search.words || !search.complete) findAll(words);
    const total = search.matches.length;
    if (total) {
      const from = search.matches.findIndex(({page}) => page >= state.page);
      search.at = search.at < 0 ? (by > 0 ? Math.max(from, 0) : (from < 0 ? total : from + total - 1) % total)
                                : (search.at + by + total) % total;
      const {page, first} = search.matches[search.at];
      if (page !== state.page) setPage(page, false);
      markMatches();
      if (state.sheet) state.sheet.spans[first].scrollIntoView({block: 'nearest', inline: 'nearest'});
    } else {
      markMatches();
    }
    tellMatches();
  }

  // ---- The other sections

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

  // ---- Where one is

  const sections = {pages: null, fonts: showFonts, images: showImages, statistics: showStatistics, check: showCheck, data: showData};
  function setPage(page, announce = true) {
    history.replaceState(null, '', '#pages/' + page);
    goToPage(page, announce);
  }

  function follow(focus) {
    const [name, page] = location.hash.slice(1).split('/');
    if (name === 'main') return byId('main').focus();
    const section = name in sections ? name : 'pages';
    const changes = section !== state.section;
    state.section = section;
    for (const each of Object.keys(sections)) byId('section-' + each).hidden = each !== section;
    for (const link of document.querySelectorAll('.sections a')) {
      link.hash === '#' + section ? link.setAttribute('aria-current', 'page') : link.removeAttribute('aria-current');
    }
    if (section === 'pages') {
      goToPage(Number.parseInt(page, 10) || state.page, !changes);
    } else {
      sections[section]();
    }
    if (changes && focus) {
      window.scrollTo(0, 0);
      byId(section + '-heading').focus({preventScroll: true});
    }
  }

  function fillFrame() {
    byId('title').textContent = job.title;
    byId('subtitle').textContent = [job.title === job.name ? '' : job.name, job.application && `printed by ${job.application}`,
                                    count(job.pages.length, 'page'), count(job.bytes, 'byte')].filter(Boolean).join(' · ');
    const bad = job.findings.length > 0 || job.lost.length > 0;
    byId('verdict').textContent = bad ? count(job.findings.length, 'fault') + (job.lost.length ? ', recovered' : '') : 'Sound';
    byId('verdict').classList.toggle('bad', bad);
    byId('verdict').hidden = false;
    const counts = {pages: job.pages.length, fonts: job.fonts.definitions, check: job.findings.length, data: job.data.length,
                    images: job.images.reduce((sum, {count: number}) => sum + number, 0)};
    for (const [name, number] of Object.entries(counts)) byId('count-' + name).textContent = number.toLocaleString('en');
    byId('of').textContent = `of ${job.pages.length.toLocaleString('en')}`;
    byId('number').max = job.pages.length;
    byId('made-by').textContent = `Made by ${job.made_by}. This file needs nothing beside it and loads nothing.`;
    if (job.shown.length < job.pages.length) {
      byId('left').textContent = `This file shows ${rangesOf(job.shown)} of ${count(job.pages.length, 'page')}. ` +
          `Others are left out; kvjob report --pages LIST chooses which to show.`;
      byId('left').hidden = false;
    }
  }

  function rangesOf(pages) {
    const ranges = [];
    for (const page of pages) {
      const last = ranges[ranges.length - 1];
      last && last[1] === page - 1 ? last[1] = page : ranges.push([page, page]);
    }
    const text = ranges.slice(0, 20).map(([from, to]) => from === to ? `${from}` : `${from}–${to}`).join(', ');
    return (pages.length === 1 ? 'page ' : 'pages ') + text + (ranges.length > 20 ? ' and more' : '');
  }

  function listen() {
    byId('previous').addEventListener('click', () => setPage(state.page - 1));
    byId('next').addEventListener('click', () => setPage(state.page + 1));
    byId('number').addEventListener('change', () => setPage(Number.parseInt(byId('number').value, 10)));
    byId('zoom').addEventListener('change', () => {
      state.zoom = byId('zoom').value;
      fit();
    });
    byId('filter').addEventListener('change', relist);
    byId('more').addEventListener('click', () => {
      const first = state.listed;
      listMore();
      byId('records').children[first].querySelector('summary').focus();
    });
    byId('search').addEventListener('submit', (event) => {
      event.preventDefault();
      step(1);
    });
    byId('words').addEventListener('keydown', (event) => {
      if (event.key !== 'Enter' || !event.shiftKey) return;
      event.preventDefault();
      step(-1);
    });
    byId('match-before').addEventListener('click', () => step(-1));
    byId('view').addEventListener('keydown', (event) => {
      const by = {ArrowRight: 1, ArrowLeft: -1}[event.key];
      const scrolls = byId('view').scrollWidth > byId('view').clientWidth;
      if (!by || event.altKey || event.ctrlKey || event.metaKey || event.shiftKey || scrolls) return;
      event.preventDefault();
      if (state.page + by >= 1 && state.page + by <= job.pages.length) setPage(state.page + by);
    });
    byId('view').addEventListener('click', (event) => {
      if (!state.sheet || !getSelection().isCollapsed) return;
      const {left, top} = state.sheet.sheet.getBoundingClientRect();
      openRecordAt(event.clientX - left, event.clientY - top);
    });
    window.addEventListener('hashchange', () => follow(true));
    new ResizeObserver(fit).observe(byId('view'));
    document.addEventListener('DOMContentLoaded', () => follow(false));  // what had not come yet
  }

  fillFrame();
  listen();
  follow(false);
  performance.mark('shown');
})();
