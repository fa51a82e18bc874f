// The client of the TypeScript SDK; it holds every message from the server against its own schemas.
import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { EmptyResultSchema, McpError } from '@modelcontextprotocol/sdk/types.js';
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { text } from 'node:stream/consumers';
import { test } from 'node:test';

import { calls, catalogue, environment, outline, server } from './World.mjs';

/** A test that connects, talks and closes, and checks that the server took all of it well. */
const dialogue = (title, talk) => test(title, { timeout: 30000 }, async () => {
    const transport = new StdioClientTransport({ command: server, env: environment, stderr: 'pipe' });
    const diagnostics = text(transport.stderr);
    const client = new Client({ name: 'interop', version: '1' });
    // What is no valid message, or what nobody waits for, makes no request fail: it shows only here.
    const errors = [];
    client.onerror = (error) => errors.push(error);
    await client.connect(transport);
    // The SDK kills a server that stays when its input ends, and tells nobody: hence the private member.
    const end = once(transport._process, 'close');
    try {
        await talk(client);
    } finally {
        await client.close();
    }
    assert.deepEqual(await end, [0, null]);
    assert.deepEqual(errors, []);
    assert.equal(
        await diagnostics,
        `[havrick-mcp] started; version 1.0.2; store ${environment.HAVRICK_ROOT}\n` +
            '[havrick-mcp] stdin closed; exiting\n',
    );
});

async function check(client, { name, arguments: args, result }) {
    assert.deepEqual(await client.callTool({ name, arguments: args }), result, `${name} ${JSON.stringify(args)}`);
}

dialogue('the server introduces itself and its tools', async (client) => {
    assert.deepEqual(client.getServerVersion(), { name: 'havrick', version: '1.0.2' });
    assert.deepEqual(client.getServerCapabilities(), { tools: {} });
    assert.match(client.getInstructions(), /^Brellin: the havrick of .* `havrick_now`\. .* and never hidden\.$/);
    assert.deepEqual(outline(await client.listTools()), { tools: catalogue });
    assert.deepEqual(await client.ping(), {});
});

dialogue('calls are answered one by one', async (client) => {
    for (const call of calls) {
        await check(client, call);
    }
    await check(client, { ...calls[0], arguments: undefined });
});

dialogue('calls sent at once get each its own answer', (client) =>
    Promise.all(calls.map((call) => check(client, call))));

dialogue('unknown methods are refused and do no harm', async (client) => {
    for (const method of ['prompts/list', 'resources/list', 'logging/setLevel', 'havrick/none']) {
        const refusal = new McpError(-32601, `Method not found: ${method}`);
        await assert.rejects(client.request({ method }, EmptyResultSchema), refusal);
    }
    await client.notification({ method: 'notifications/none' });
    await check(client, calls[0]);
});
