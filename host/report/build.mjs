// node build.mjs PAGE: the page as one file, with everything in it but the data. Run where node_modules is.
import {build} from 'esbuild';
import {readFileSync, writeFileSync} from 'node:fs';

const libraries = ['three', 'uplot'];
const [page] = process.argv.slice(2);

const {outputFiles} = await build({
  entryPoints: ['src/main.js'],
  outdir: '.',
  bundle: true,
  minify: true,
  write: false,
  charset: 'ascii',
  target: 'es2020',
  legalComments: 'inline',
});
const output = (ending) => outputFiles.find(({path}) => path.endsWith(ending)).text;

// What the HTML parser would take for markup inside an element of script or style.
function inElement(text) {
  const markup = text.match(/<\/(script|style)|<!--|<script/i);
  if (markup) throw new Error(`expected code without '${markup[0]}', which would end its element`);
  return text.trim();
}

function license(library) {
  const folder = `node_modules/${library}`;
  const {version} = JSON.parse(readFileSync(`${folder}/package.json`, 'utf8'));
  const text = readFileSync(`${folder}/LICENSE`, 'utf8').trim();
  if (text.includes('--')) throw new Error(`expected a license of ${library} that fits into a comment`);
  return `${library} ${version}\n\n${text}`;
}

const parts = {
  STYLE: inElement(output('.css')),
  SCRIPT: inElement(output('.js')),
  LICENSES: libraries.map(license).join('\n\n'),
};
const html = readFileSync('index.html', 'utf8').replace(/@(STYLE|SCRIPT|LICENSES)@/g, (_, part) => parts[part]);
const places = html.split('@KORVEL_REPORT_DATA@').length - 1;
if (places !== 1) throw new Error(`expected one place for the data, found ${places}`);
writeFileSync(page, html);
