// Starts the server of an unpacked bundle as a host does whose user set nothing, and compares what it says of
// itself with what the manifest promises.
//
//   node check.mjs <directory of the unpacked bundle>
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';

import { getMcpConfigForManifest } from '@anthropic-ai/mcpb';

const bundle = resolve(process.argv[2]);
const manifest = JSON.parse(readFileSync(join(bundle, 'manifest.json'), 'utf8'));
const home = mkdtempSync(join(tmpdir(), 'havrick-bundle-'));
try {
    const config = await getMcpConfigForManifest({
        manifest, extensionPath: bundle, systemDirs: { HOME: home }, userConfig: {}, pathSeparator: '/',
    });
    // A placeholder that nobody filled in would become the name of a directory.
    assert.deepEqual(config.env, { HAVRICK_ROOT: '', CLAUDE_CONFIG_DIR: '' });

    const requests = [
        { id: 1, method: 'initialize',
          params: { protocolVersion: '2025-06-18', capabilities: {}, clientInfo: { name: 'check', version: '1' } } },
        { method: 'notifications/initialized' },
        { id: 2, method: 'tools/list' },
        { id: 3, method: 'tools/call', params: { name: 'havrick_resolve', arguments: { query: 'nobody' } } },
    ];
    const { stdout, status } = spawnSync(config.command, config.args, {
        input: requests.map((request) => JSON.stringify({ jsonrpc: '2.0', ...request }) + '\n').join(''),
        env: { PATH: process.env.PATH, HOME: home, ...config.env }, cwd: home, encoding: 'utf8', timeout: 30000,
    });
    assert.equal(status, 0);
    const [handshake, catalogue] = stdout.trim().split('\n').map((line) => JSON.parse(line).result);
    assert.deepEqual(handshake.serverInfo, { name: manifest.name, version: manifest.version });
    assert.deepEqual(manifest.tools, catalogue.tools.map(({ name, description }) => ({ name, description })));
    assert.ok(existsSync(join(home, 'Library/Application Support/Havrick/havrick.db')),
        'the history is where it is without a setting');
} finally {
    rmSync(home, { recursive: true });
}
