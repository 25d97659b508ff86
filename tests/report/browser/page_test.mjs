// Reports in headless Chromium: page_test.mjs FOLDER, which has plain.html, hostile.html, large.html and damaged.html.
// CHROMIUM names the browser.
import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {createRequire} from 'node:module';
import path from 'node:path';

const folder = path.resolve(process.argv[2]);
// The packages are installed there, away from the sources.
const installed = createRequire(path.join(folder, 'package.json'));
const {chromium} = installed('playwright-core');
const axe = readFileSync(installed.resolve('axe-core/axe.min.js'), 'utf8');
const sections = ['pages', 'fonts', 'images', 'statistics', 'check', 'data'];

const browser = await chromium.launch({executablePath: process.env.CHROMIUM || '/usr/bin/chromium', args: ['--no-sandbox']});

// Opens a report, hands it to the action, and sees that nothing was loaded, said or thrown.
async function open(name, action, {hash = '', ...options} = {}) {
  const context = await browser.newContext({viewport: {width: 1280, height: 900}, ...options});
  const page = await context.newPage();
  const faults = [];
  const file = `file://${folder}/${name}.html`;
  page.on('console', (message) => faults.push(`console: ${message.text()}`));
  page.on('pageerror', (error) => faults.push(`error: ${error.message}`));
  page.on('dialog', (dialog) => faults.push(`dialog: ${dialog.message()}`));
  page.on('request', (request) => {
    const url = request.url();
    if (!url.startsWith(file) && !url.startsWith('data:image/png')) faults.push(`request: ${url}`);
  });
  await page.goto(file + hash);
  await action(page);
  await context.close();
  assert.deepEqual(faults, [], name);
}

const text = (page, id) => page.locator('#' + id).textContent();
const tests = {};

tests['every section in light, dark and narrow is accessible'] = async () => {
  const looks = [{colorScheme: 'light'}, {colorScheme: 'dark'}, {colorScheme: 'light', viewport: {width: 360, height: 740}}];
  for (const name of ['plain', 'hostile', 'damaged']) {
    for (const look of looks) {
      await open(name, async (page) => {
        await page.evaluate(axe);
        for (const section of sections) {
          await page.evaluate((to) => location.hash = to, section);
          await page.locator(`#section-${section}`).waitFor({state: 'visible'});
          if (section === 'pages') await page.locator('#records summary').first().click();
          const found = await page.evaluate(() => axe.run());
          const violations = found.violations.map(({id, nodes}) => `${id}: ${nodes[0].html} ${nodes[0].failureSummary}`);
          assert.deepEqual(violations, [], `${name}, ${section}, ${JSON.stringify(look)}`);
          const scrolls = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
          assert.ok(scrolls <= 0, `${name}, ${section}: wider than the window by ${scrolls}`);
        }
      }, look);
    }
  }
};

tests['pages by buttons, number, arrow keys and address'] = async () => {
  await open('plain', async (page) => {
    const layer = () => page.locator('.layer').innerText();
    assert.match(await layer(), /Good spoken poems/);
    assert.ok(await page.locator('#previous').isDisabled());
    await page.locator('#next').click();
    assert.match(await layer(), /poems on cocoa/);
    assert.equal(await text(page, 'announcement'), 'Page 2 of 3');
    await page.locator('#number').fill('3');
    await page.locator('#number').press('Enter');
    assert.equal(await page.evaluate(() => location.hash), '#pages/3');
    assert.ok(await page.locator('#next').isDisabled());
    await page.locator('#view').focus();
    await page.keyboard.press('ArrowLeft');
    assert.equal(await page.locator('#number').inputValue(), '2');
    await page.evaluate(() => location.hash = '#pages/1');
    await page.waitForFunction(() => document.querySelector('.layer').innerText.includes('Good'));
  });
  await open('plain', async (page) => assert.equal(await page.locator('#number').inputValue(), '2'), {hash: '#pages/2'});
};

tests['the words lie over their letters and are selected in order'] = async () => {
  await open('plain', async (page) => {
    const places = await page.evaluate(() => {
      const sheet = document.querySelector('.sheet').getBoundingClientRect();
      const unit = sheet.width / 850;  // the page has 850 x 1100 pixels
      return [...document.querySelectorAll('.layer span')].map((span) => {
        const range = document.createRange();
        range.setStart(span.firstChild, 0);
        range.setEnd(span.firstChild, span.textContent.length - 1);  // without the blank
        const box = range.getBoundingClientRect();
        return [span.textContent, (box.left - sheet.left) / unit, (box.right - sheet.left) / unit,
                (box.top - sheet.top) / unit, (box.bottom - sheet.top) / unit];
      });
    });
    // 13 pixels a letter, the baselines at 200 and 230.
    const expected = [['Good ', 100, 152, 200], ['spoken ', 165, 243, 200], ['poems ', 256, 321, 200],
                      ['second ', 100, 178, 230], ['page ', 191, 243, 230]];
    assert.equal(places.length, expected.length);
    places.forEach(([word, left, right, top, bottom], index) => {
      const [text, from, to, baseline] = expected[index];
      assert.equal(word, text);
      assert.ok(Math.abs(left - from) < 1.5 && Math.abs(right - to) < 1.5, `${word}: ${left} to ${right}`);
      assert.ok(top < baseline - 12 && bottom > baseline && bottom < baseline + 12, `${word}: ${top} to ${bottom}`);
    });
    const selected = await page.evaluate(() => {
      getSelection().selectAllChildren(document.querySelector('.layer'));
      return getSelection().toString();
    });
    assert.deepEqual(selected.trim().split(/\s*\n+/), ['Good spoken poems', 'second page']);
  });
};

tests['the picture has the colours of the page'] = async () => {
  await open('plain', async (page) => {
    const colours = await page.evaluate(async () => {
      const image = document.querySelector('.sheet img');
      await image.decode();
      const canvas = document.createElement('canvas');
      Object.assign(canvas, {width: image.naturalWidth, height: image.naturalHeight});
      const context = canvas.getContext('2d', {willReadFrequently: true});
      context.drawImage(image, 0, 0);
      const unit = image.naturalWidth / 850;
      return [[400, 425], [310, 525], [600, 700]].map(([x, y]) => [...context.getImageData(x * unit, y * unit, 1, 1).data]);
    });
    // The fill, the left pixel of the bitmap, paper.
    assert.deepEqual(colours, [[255, 0, 0, 255], [1, 2, 3, 255], [255, 255, 255, 255]]);
  });
};

tests['search finds words on all pages'] = async () => {
  await open('plain', async (page) => {
    await page.locator('#words').fill('POEMS');
    await page.locator('#words').press('Enter');
    assert.equal(await text(page, 'found'), '1 of 2 matches on 2 pages; page 1');
    assert.equal(await page.locator('.layer .now').textContent(), 'poems ');
    await page.locator('#words').press('Enter');
    assert.equal(await text(page, 'found'), '2 of 2 matches on 2 pages; page 2');
    assert.equal(await page.locator('#number').inputValue(), '2');
    await page.locator('#words').press('Shift+Enter');
    assert.equal(await page.locator('#number').inputValue(), '1');
    await page.locator('#words').fill('spoken  poems');
    await page.locator('#words').press('Enter');
    assert.deepEqual(await page.locator('.layer .hit').allTextContents(), ['spoken ', 'poems ']);
    await page.locator('#words').fill('nowhere');
    await page.locator('#words').press('Enter');
    assert.equal(await text(page, 'found'), 'No match');
  });
  await open('large', async (page) => {
    await page.locator('#words').fill('beacon');
    await page.locator('#words').press('Enter');
    assert.equal(await text(page, 'found'), '1 of 1 match on 1 page; page 150');
  });
};

tests['records open by keyboard and by a click on what they draw'] = async () => {
  await open('plain', async (page) => {
    await page.locator('#filter').selectOption('rectangle fill');
    const record = page.locator('#records li');
    assert.equal(await record.count(), 1);
    await record.locator('summary').focus();
    assert.ok(await page.locator('.spot').isVisible());
    await page.keyboard.press('Enter');
    assert.match(await record.locator('dl').innerText(), /rect\s+\[300, 400, 500, 450\]/);
    assert.match(await record.locator('summary').innerText(), /^0x[0-9A-F]{8}/);
    await page.locator('#zoom').selectOption('page');
    const sheet = await page.locator('.sheet').boundingBox();
    await page.mouse.click(sheet.x + sheet.width * 350 / 850, sheet.y + sheet.height * 525 / 1100);
    assert.match(await page.locator('#records details[open] summary').innerText(), /bitmap/);
  });
};

tests['the keyboard goes through the page in its order'] = async () => {
  await open('plain', async (page) => {
    const order = [];
    for (let i = 0; i < 16; ++i) {
      await page.keyboard.press('Tab');
      order.push(await page.evaluate(() => document.activeElement.id || document.activeElement.hash ||
                                           document.activeElement.ariaLabel || document.activeElement.tagName));
    }
    assert.deepEqual(order, ['#main', 'verdict', ...sections.map((name) => '#' + name), 'number', 'next', 'zoom', 'words',
                             'match-before', 'Next match', 'view', 'filter']);
    await page.locator('.sections a[href="#statistics"]').press('Enter');
    await page.waitForFunction(() => document.activeElement.id === 'statistics-heading');
    await page.locator('.skip').press('Enter');
    await page.waitForFunction(() => document.activeElement.id === 'main');
  });
};

tests['what a job says is text and nothing else'] = async () => {
  await open('hostile', async (page) => {
    const bad = '</script><img src=x onerror=hacked=1>"\'&{{script}}\uFFFD';
    assert.equal(await page.title(), bad);
    assert.equal(await text(page, 'title'), bad);
    assert.match((await page.locator('.layer').innerText()).replace(/\s/g, ''), /onerror=hacked=1/);
    for (const section of sections) {
      await page.evaluate((to) => location.hash = to, section);
      await page.locator(`#section-${section}`).waitFor({state: 'visible'});
    }
    assert.deepEqual(await page.locator('#attached td').allTextContents(), [bad]);
    assert.equal(await page.evaluate(() => typeof hacked), 'undefined');
    assert.equal(await page.locator('img[src="x"]').count(), 0);
    // The policy holds even if something slips through.
    const ran = await page.evaluate(() => {
      const script = document.createElement('script');
      try {
        script.textContent = 'hacked = 1';
        document.body.append(script);
      } catch {
        return false;
      }
      return typeof hacked !== 'undefined';
    });
    assert.equal(ran, false);
  }).catch((error) => {
    // That the policy stopped the last script is said on the console, and only that.
    const said = error.actual;
    if (!Array.isArray(said) || !said.length || !said.every((line) => /This document requires|Content Security Policy/.test(line))) throw error;
  });
};

tests['a damaged job tells its faults, other jobs that they are sound'] = async () => {
  await open('plain', async (page) => {
    assert.equal(await text(page, 'verdict'), 'Sound');
    assert.match(await text(page, 'section-check'), /The job is sound/);
  }, {hash: '#check'});
  await open('damaged', async (page) => {
    assert.match(await text(page, 'verdict'), /fault.*recovered/);
    assert.match(await text(page, 'findings'), /Lost in the recovery/);
    await page.evaluate(() => location.hash = '#pages/1');
    await page.waitForFunction(() => document.querySelector('.layer')?.innerText.includes('Good'));
  }, {hash: '#check'});
};

tests['of a large job the first page is there before the file is read'] = async () => {
  await open('large', async (page) => {
    const shown = await page.evaluate(() => performance.getEntriesByName('shown')[0].startTime);
    const read = await page.evaluate(() => performance.getEntriesByType('navigation')[0].domContentLoadedEventStart);
    console.log(`    first page at ${shown.toFixed(0)} ms, the file was read at ${read.toFixed(0)} ms`);
    assert.ok(shown < read);
    assert.match(await text(page, 'left'), /shows pages 1–200 of 203 pages/);
    await page.locator('#number').fill('202');
    await page.locator('#number').press('Enter');
    assert.match(await text(page, 'view'), /left out.*kvjob report --pages 202 /);
  });
};

tests['without scripts it says what is missing'] = async () => {
  await open('plain', async (page) => assert.ok(await page.locator('noscript .notice').isVisible()), {javaScriptEnabled: false});
};

let failed = 0;
for (const [name, test] of Object.entries(tests)) {
  try {
    await test();
    console.log(`  passed: ${name}`);
  } catch (error) {
    ++failed;
    console.log(`  FAILED: ${name}\n${error.stack}`);
  }
}
await browser.close();
console.log(`${Object.keys(tests).length - failed} of ${Object.keys(tests).length} passed`);
process.exit(failed ? 1 : 0);
