// The list of the records of the page in view.
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
