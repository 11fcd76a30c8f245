// node build.mjs PAGE: writes the page as one file, with everything in it except the data. Run it where node_modules is.
import {build} from 'esbuild';
import {readdirSync, readFileSync, writeFileSync} from 'node:fs';

const [page] = process.argv.slice(2);

const {outputFiles, metafile} = await build({
  entryPoints: ['src/main.js'],
  outdir: '.',
  bundle: true,
  minify: true,
  write: false,
  charset: 'ascii',
  target: 'es2020',
  legalComments: 'inline',
  metafile: true,
  // The page of the tests hands out its parts.
  define: {KORVEL_HOOKS: String('KORVEL_HOOKS' in process.env)},
});
const output = (ending) => outputFiles.find(({path}) => path.endsWith(ending)).text;

// Escapes what the HTML parser would take for markup inside an element of script or style.
function inElement(text) {
  const markup = text.match(/<\/(script|style)|<!--|<script/i);
  if (markup) throw new Error(`expected code without '${markup[0]}', which would end its element`);
  return text.trim();
}

// Returns the licence of every library in a bundle.
function licenses({inputs}) {
  const names = Object.keys(inputs).map((path) => path.match(/^node_modules\/((@[^/]+\/)?[^/]+)/)?.[1]);
  return [...new Set(names.filter(Boolean))].sort().map(license).join('\n\n');
}

function license(library) {
  const folder = `node_modules/${library}`;
  const {version} = JSON.parse(readFileSync(`${folder}/package.json`, 'utf8'));
  const file = readdirSync(folder).find((name) => /^licen[cs]e/i.test(name));
  const text = readFileSync(`${folder}/${file}`, 'utf8').trim();
  if (/--|\*\//.test(text)) throw new Error(`expected a license of ${library} that fits into a comment`);
  return `${library} ${version}\n\n${text}`;
}

const parts = {
  STYLE: inElement(output('.css')),
  SCRIPT: inElement(output('.js')),
  LICENSES: licenses(metafile),
};
const html = readFileSync('index.html', 'utf8').replace(/@(STYLE|SCRIPT|LICENSES)@/g, (_, part) => parts[part]);
const places = html.split('@KORVEL_REPORT_DATA@').length - 1;
if (places !== 1) throw new Error(`expected one place for the data, found ${places}`);
writeFileSync(page, html);
