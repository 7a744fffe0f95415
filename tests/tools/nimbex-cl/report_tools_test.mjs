// The reports of nimbex-cl in the tools people read them with.
//
//   node report_tools_test.mjs html  NIMBEX_CL SOURCE_DIR WORK_DIR TOOLS_DIR
//   node report_tools_test.mjs sarif NIMBEX_CL SOURCE_DIR WORK_DIR TOOLS_DIR
//
// html: the page of the bundled example in headless Chromium, with and
// without JavaScript; a screenshot stays in WORK_DIR/report.png.
// sarif: the log of the bundled example passes the SARIF validator, and its
// fingerprints hold across runs and across a copy with shifted addresses.
//
// TOOLS_DIR holds the npm packages the setup installed. Exits 77 (skipped)
// only when a tool is not to be had on this machine.

import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { createRequire } from 'node:module';

const [mode, nimbexCl, sourceDir, workDir, toolsDir] = process.argv.slice(2).map((a, i) => (i === 0 ? a : path.resolve(a)));
const SKIP = 77;
let failures = 0;

function check(condition, message) {
  if (condition) return;
  failures += 1;
  console.error('FAILED: ' + message);
}

function skip(message) {
  console.log('SKIPPED: ' + message);
  process.exit(SKIP);
}

// A fresh project with the bundled example as `name`; returns the result's
// directory.
function example(name, edit = (text) => text) {
  const dir = path.join(workDir, 'project', name);
  fs.rmSync(dir, { recursive: true, force: true });
  fs.mkdirSync(dir, { recursive: true });
  const text = fs.readFileSync(path.join(sourceDir, 'examples/basic/result.json'), 'utf8');
  fs.writeFileSync(path.join(dir, 'result.json'), edit(text));
  return dir;
}

function report(name, format, output) {
  const args = ['-report', 'issues', '-project-dir', path.join(workDir, 'project'), '--exp-dir', name, '--no-progress',
                '-format=' + format];
  if (output) args.push('--report-output', output);
  return execFileSync(nimbexCl, args, { encoding: 'utf8', maxBuffer: 64 << 20 });
}

// Listed loops: parts of a split loop show on their loop.
function isListedLoop(row) {
  const type = Array.isArray(row.type) ? row.type : [];
  return type.includes('loop') && !type.some((t) => t === 'peel' || t === 'remainder' || t === 'vectorBody');
}

function loadTool(name) {
  const require = createRequire(path.join(toolsDir, 'package.json'));
  try {
    return require(name);
  } catch (e) {
    skip(name + ' is not installed in ' + toolsDir + ' (npm could not install it): ' + e.message);
  }
}

async function testHtml() {
  if (!fs.existsSync('/usr/bin/chromium')) skip('/usr/bin/chromium is missing (Debian package chromium)');
  const { chromium } = loadTool('playwright-core');
  example('basic');
  const page_ = path.join(workDir, 'report.html');
  report('basic', 'html', page_);
  const result = JSON.parse(fs.readFileSync(path.join(sourceDir, 'examples/basic/result.json'), 'utf8'));
  const loops = result.bottomUp.rows.filter(isListedLoop);
  const positioned = loops.filter((row) => row.roofline).length;
  const withFindings = Number(/(\d+) loops? with findings/.exec(report('basic', 'text'))[1]);

  const browser = await chromium.launch({
    executablePath: '/usr/bin/chromium',
    headless: true,
    chromiumSandbox: false,
    // Without these the browser tries the network, which is closed here.
    args: ['--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
           '--disable-component-update', '--disable-sync'],
  });
  try {
    const context = await browser.newContext({ viewport: { width: 1200, height: 900 } });
    const page = await context.newPage();
    const errors = [];
    page.on('console', (message) => { if (message.type() === 'error') errors.push(message.text()); });
    page.on('pageerror', (error) => errors.push(String(error)));
    const requests = [];
    page.on('request', (request) => { if (!request.url().startsWith('file:')) requests.push(request.url()); });
    await page.goto('file://' + page_, { waitUntil: 'load' });

    check(errors.length === 0, 'console errors: ' + errors.join(' | '));
    check(requests.length === 0, 'the page fetched: ' + requests.join(' '));
    const dots = await page.locator('svg#chart circle.dot').count();
    check(dots === positioned, `${dots} chart points for ${positioned} loops with roofline data`);
    const rows = await page.locator('#loops tbody tr').count();
    check(rows === loops.length, `${rows} table rows for ${loops.length} loops`);
    check(await page.locator('details.loop').count() === withFindings, 'one findings block per loop with findings');

    // Hovering names the loop; clicking opens its findings.
    // The last drawn dot is the smallest, on top of the others.
    const dot = page.locator('svg#chart circle.dot').last();
    const id = await dot.getAttribute('data-loop');
    await dot.hover();
    const tip = await page.locator('#tooltip').textContent();
    check(await page.locator('#tooltip').isVisible() && tip.includes('[loop in '), 'hover names the loop: ' + tip);
    await page.evaluate(() => document.querySelectorAll('details.loop').forEach((d) => { d.open = false; }));
    await dot.click();
    check(await page.locator('#loop-' + id).evaluate((d) => d.open), 'a click opens the loop\'s findings');

    // Sorting: by self time ascending, then by issues descending.
    const column = async (index) => page.locator('#loops tbody tr').evaluateAll(
      (trs, i) => trs.map((tr) => parseFloat(tr.cells[i].dataset.value ?? tr.cells[i].textContent)), index);
    await page.locator('#loops th button', { hasText: 'Self time' }).click();
    const times = await column(3);
    check(times.every((t, i) => i === 0 || times[i - 1] <= t), 'self time ascending: ' + times.join(' '));
    await page.locator('#loops th button', { hasText: 'Issues' }).click();
    const issues = await column(8);
    check(issues.every((n, i) => i === 0 || issues[i - 1] >= n), 'issues descending: ' + issues.join(' '));

    await page.locator('#loops th button', { hasText: 'Self time' }).click();
    await page.evaluate(() => window.scrollTo(0, 0));
    await page.screenshot({ path: path.join(workDir, 'report.png'), fullPage: false });
    console.log('screenshot: ' + path.join(workDir, 'report.png'));
    check(errors.length === 0, 'console errors after interaction: ' + errors.join(' | '));
    await context.close();

    // Without JavaScript the table and the findings are there to read.
    const plain = await browser.newContext({ javaScriptEnabled: false });
    const still = await plain.newPage();
    await still.goto('file://' + page_, { waitUntil: 'load' });
    check(await still.locator('#loops tbody tr').count() === loops.length, 'the table without JavaScript');
    check(await still.locator('details.loop').count() === withFindings, 'the findings without JavaScript');
    check(await still.locator('details.loop[open] section.issue h3').count() > 0, 'open findings show their issues');
    check(await still.locator('svg#chart circle.dot').count() === positioned, 'the chart without JavaScript');
    await plain.close();
  } finally {
    await browser.close();
  }
}

function fingerprints(log) {
  return log.runs[0].results.map((r) => r.partialFingerprints['nimbexLoopIssue/v1']).sort();
}

async function testSarif() {
  const first = path.join(workDir, 'first.sarif');
  example('basic');
  report('basic', 'sarif', first);
  // The second run reads the stored findings instead of scanning.
  const second = JSON.parse(report('basic', 'sarif'));
  // The same program loaded elsewhere: every code address moves.
  example('shifted', (text) => text.replace(/("address"\s*:\s*)("0x[0-9a-fA-F]+"|\d+)/g, (all, key, value) => {
    const number = BigInt(value.startsWith('"') ? value.slice(1, -1) : value) + 0x10000000n;
    return key + '"0x' + number.toString(16) + '"';
  }));
  check(fs.readFileSync(path.join(workDir, 'project/shifted/result.json'), 'utf8').includes('0x10401a40'),
        'the copy has shifted addresses');
  const shifted = JSON.parse(report('shifted', 'sarif'));
  const log = JSON.parse(fs.readFileSync(first, 'utf8'));

  const prints = fingerprints(log);
  check(prints.length > 0, 'the log has results');
  check(new Set(prints).size === prints.length, 'each result has its own fingerprint');
  check(JSON.stringify(prints) === JSON.stringify(fingerprints(second)), 'fingerprints equal across two runs');
  check(JSON.stringify(prints) === JSON.stringify(fingerprints(shifted)), 'fingerprints equal with shifted addresses');
  const ranks = log.runs[0].results.map((r) => r.rank);
  check(ranks.every((r) => r >= 0 && r <= 100), 'ranks are shares of the program time');

  const multitool = path.join(toolsDir, 'node_modules/@microsoft/sarif-multitool-linux/Sarif.Multitool');
  if (!fs.existsSync(multitool)) skip('the SARIF validator is not installed in ' + toolsDir);
  fs.chmodSync(multitool, 0o755);
  const verdict = path.join(workDir, 'validation.sarif');
  try {
    execFileSync(multitool, ['validate', first, '--output', verdict, '--log', 'ForceOverwrite'],
                 { encoding: 'utf8', env: { ...process.env, DOTNET_SYSTEM_GLOBALIZATION_INVARIANT: '1' } });
  } catch (e) {
    check(false, 'the validator failed: ' + e.message + '\n' + (e.stdout ?? ''));
    return;
  }
  const findings = JSON.parse(fs.readFileSync(verdict, 'utf8')).runs[0].results ?? [];
  for (const finding of findings) {
    const text = `${finding.ruleId} ${finding.level ?? 'warning'}: ${JSON.stringify(finding.message.arguments ?? finding.message)}`;
    if (finding.level === 'error') check(false, 'validation: ' + text);
    else console.log('validation note: ' + text);
  }
}

fs.mkdirSync(workDir, { recursive: true });
if (mode === 'html') await testHtml();
else if (mode === 'sarif') await testSarif();
else {
  console.error('unknown mode ' + mode);
  process.exit(2);
}
console.log(failures === 0 ? mode + ': all checks hold' : `${mode}: ${failures} checks failed`);
process.exit(failures === 0 ? 0 : 1);
