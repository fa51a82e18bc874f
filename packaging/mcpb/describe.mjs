// Prints the MCP registry's description of a bundle: ../server.json with the address and the digest of the file.
//
//   node describe.mjs <bundle> [URL of the directory that it is published in]
import { createHash } from 'node:crypto';
import { readFileSync } from 'node:fs';
import { basename } from 'node:path';

const [file, address] = process.argv.slice(2);
const server = JSON.parse(readFileSync(new URL('../server.json', import.meta.url), 'utf8'));
server.packages[0].identifier = (address ? address.replace(/\/*$/, '/') : '') + basename(file);
server.packages[0].fileSha256 = createHash('sha256').update(readFileSync(file)).digest('hex');
console.log(JSON.stringify(server, null, 2));
