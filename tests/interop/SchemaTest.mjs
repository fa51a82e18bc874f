// Every JSON document of the companion against the schema that is installed for it.
import { Ajv2020 } from 'ajv/dist/2020.js';
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readdirSync, readFileSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { test } from 'node:test';

import { environment, server } from './World.mjs';

const project = new URL('../../', import.meta.url);
const read = (path) => readFileSync(new URL(path, project), 'utf8');
const names = readdirSync(new URL('packaging/schema/', project));
const schemas = Object.fromEntries(names.map((name) => [name, JSON.parse(read(`packaging/schema/${name}`))]));
const ajv = new Ajv2020({ allErrors: true, strict: true });
for (const [name, schema] of Object.entries(schemas)) {
    ajv.addSchema(schema, name);
}
const documented = read('docs/json.md');

const home = environment.HOME;
const sessions = `${home}/.claude/sessions`;
const write = (file, facts) => writeFileSync(file, JSON.stringify(facts));
const fox = { ...JSON.parse(readFileSync(`${sessions}/x.json`)), nameSource: 'user', nameSince: 1, version: '2' };
write(`${sessions}/unnamed.json`, { sessionId: 'gone', pid: 2 ** 31 - 1, startedAt: 2 ** 53 });
write(`${sessions}/x.json`, fox);
write(`${home}/.claude.json`, {
    oauthAccount: { emailAddress: 'kio@example.org' },
    mcpServers: { havrick: { command: server, env: { HAVRICK_ROOT: `${home}/elsewhere` } } },
});

function run(...words) {
    const options = { cwd: home, env: environment, encoding: 'utf8', timeout: 30000 };
    return spawnSync(join(dirname(server), 'havrick'), words, options);
}

function check(name, document, title) {
    const isValid = ajv.getSchema(name);
    assert.ok(isValid(document), `${title}: ${ajv.errorsText(isValid.errors)}\n${JSON.stringify(document)}`);
}

const keysIn = (value) => (value === null || typeof value !== 'object' ? [] : [
    ...(Array.isArray(value) ? [] : Object.keys(value)), ...Object.values(value).flatMap(keysIn)]);
const propertiesIn = (value) => (value === null || typeof value !== 'object' ? [] : [
    ...Object.keys(value.properties ?? {}), ...Object.values(value).flatMap(propertiesIn)]);

test('what the companion prints is what its schemas say', () => {
    const printed = new Map(names.map((name) => [name, []]));
    const documents = (name, command) => {
        const { stdout, stderr } = run(...command.split(' '), '--json');
        const found = stdout.split('\n').filter(Boolean).map((line) => JSON.parse(line));
        assert.notEqual(found.length, 0, `${command}: ${stderr}`);
        found.forEach((document) => check(name, document, command));
        printed.get(name).push(...found);
    };
    documents('record.json', 'record');
    write(`${sessions}/x.json`, { ...fox, name: 'kio-apps-3f' });
    run('watch', 'add', `pid:${fox.pid}`, 'cmd:havrick-none');
    for (const [name, command] of [
        ['record.json', 'record'], ['list.json', 'now'], ['list.json', 'list'], ['accounts.json', 'accounts'],
        ['is-alive.json', `is-alive ${fox.sessionId}`], ['is-alive.json', 'is-alive gone'],
        ['who.json', `who ${fox.sessionId}`], ['who.json', 'send gone'], ['who.json', 'send 7b1d44c0'],
        ['resolve.json', 'resolve kio-apps-3f'], ['resolve.json', 'resolve nobody'],
        ['watch-list.json', 'watch list'], ['watch-scan.json', 'watch scan'],
        ['watch-scan.json', 'watch scan --record'], ['history.json', 'history'],
        ['history-entry.json', 'history 0f3c9a2e'], ['history-entry.json', 'history gone --full'],
        ['history-entry.json', `history pid:${fox.pid} --full`], ['history-entry.json', 'history 0f3c --full'],
        ['doctor.json', 'doctor'],
    ]) {
        documents(name, command);
    }
    printed.delete('definitions.json');
    for (const [name, found] of printed) {
        assert.notEqual(found.length, 0, `${name} is nobody's schema`);
    }
    const unused = new Set(propertiesIn(schemas));
    keysIn([...printed.values()]).forEach((key) => unused.delete(key));
    assert.deepEqual([...unused], [], 'properties that nothing prints');
});

test('the examples of the documentation are valid', () => {
    const examples = [...documented.matchAll(/^## `(\S+)`$[^#]*?^```json\n(.*?)^```$/gms)];
    assert.deepEqual(examples.map(([, name]) => name).sort(), names.filter((name) => name !== 'definitions.json'));
    for (const [, name, example] of examples) {
        check(name, JSON.parse(example), `docs/json.md, ${name}`);
    }
});
