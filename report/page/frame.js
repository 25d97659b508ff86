// Which section and page is shown, what stands around them, and what people do.
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
