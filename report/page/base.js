// What the parts of the page's script share: the data of the file, and elements of them. All that comes from the job
// becomes text, never markup. The parts follow each other in one strict function.
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
