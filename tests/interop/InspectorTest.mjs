// The Inspector's command line, as a developer types it: each command starts a server of its own.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { describe, it } from 'node:test';
import { fileURLToPath } from 'node:url';
import { promisify } from 'node:util';

import { calls, catalogue, environment, outline, server } from './World.mjs';

const program = fileURLToPath(new URL('node_modules/.bin/mcp-inspector', import.meta.url));
const options = { env: { PATH: process.env.PATH, ...environment }, timeout: 30000 };

async function inspect(...words) {
    const { stdout } = await promisify(execFile)(program, ['--cli', server, '--method', ...words], options);
    return JSON.parse(stdout);
}

// An argument on a command line is a text, and the Inspector takes no empty one.
const canBeTyped = (call) =>
    Object.values(call.arguments).every((value) => value === undefined || (typeof value === 'string' && value));

describe('the Inspector', { concurrency: 2 }, () => {
    it('lists the tools', async () => {
        assert.deepEqual(outline(await inspect('tools/list')), { tools: catalogue });
    });
    it('shows why a method is refused', async () => {
        await assert.rejects(inspect('prompts/list'), /MCP error -32601: Method not found: prompts\/list\n/);
    });
    for (const { name, arguments: args, result } of calls.filter(canBeTyped)) {
        it(`calls ${name} ${JSON.stringify(args)}`, async () => {
            const pairs = Object.entries(args).flatMap(([key, value]) =>
                value === undefined ? [] : ['--tool-arg', `${key}=${value}`]);
            assert.deepEqual(await inspect('tools/call', '--tool-name', name, ...pairs), result);
        });
    }
});
