// Search in the words of all pages.
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
