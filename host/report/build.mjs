// node build.mjs PAGE: writes the page as one file, with everything in it except the data. Run it where node_modules is.
import {build} from 'esbuild';
import {readdirSync, readFileSync, writeFileSync} from 'node:fs';

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
  // The page of the tests hands out its parts.
  define: {KORVEL_HOOKS: String('KORVEL_HOOKS' in process.env)},
});
// Escapes of esbuild keep the code from ending its element, except after these two.
function output(ending) {
  const {text} = outputFiles.find(({path}) => path.endsWith(ending));
  if (/<!--|<script/i.test(text)) throw new Error('expected code without <!-- or <script, which would hide its end');
  return text.trim();
}

// Returns the licence of a library, for the comment at the end of the page.
function license([library, version]) {
  const folder = `node_modules/${library}`;
  const file = readdirSync(folder).find((name) => /^licen[cs]e/i.test(name));
  return `${library} ${version}\n\n${readFileSync(`${folder}/${file}`, 'utf8').trim()}`;
}

const {dependencies} = JSON.parse(readFileSync('package.json', 'utf8'));
const parts = {
  STYLE: output('.css'),
  SCRIPT: output('.js'),
  LICENSES: Object.entries(dependencies).map(license).join('\n\n'),
};
writeFileSync(page, readFileSync('index.html', 'utf8').replace(/@(STYLE|SCRIPT|LICENSES)@/g, (_, part) => parts[part]));
