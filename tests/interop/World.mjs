// A throw-away home with two accounts and a live session on each, and what the server has to say about it.
import { execFileSync, spawn } from 'node:child_process';
import { createHash } from 'node:crypto';
import { mkdirSync, mkdtempSync, realpathSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { fileURLToPath } from 'node:url';

export const server = fileURLToPath(new URL('../../build/release/bin/havrick-mcp', import.meta.url));

const home = realpathSync(mkdtempSync(`${tmpdir()}/havrick-interop-`));
const sleeper = spawn('sleep', ['300'], { stdio: 'ignore' });
sleeper.unref();
// Not a hook of the test runner: those do not run when a file fails before its first test.
process.on('exit', () => {
    sleeper.kill();
    rmSync(home, { recursive: true, force: true });
});

export const environment = { HOME: home, HAVRICK_ROOT: `${home}/data` };

const { pid } = sleeper;
const psOptions = { encoding: 'utf8', env: { TZ: 'UTC', LC_ALL: 'C' } };
const procStart = execFileSync('/bin/ps', ['-o', 'lstart=', '-p', pid], psOptions).trim();

function declare(folder, file, members) {
    const messagingSocketPath = `/tmp/cc-socks/${file}`;
    const session = { ...members, pid, procStart, startedAt: 1772373909123, messagingSocketPath };
    mkdirSync(`${home}/${folder}/sessions`, { recursive: true });
    writeFileSync(`${home}/${folder}/sessions/${file}`, JSON.stringify(session));
    const ref = createHash('sha256').update(`session:${messagingSocketPath}`).digest('hex').slice(0, 6);
    return { ...session, ref, address: `${session.name} [${ref}]` };
}
const fox = declare('.claude', 'x.json',
    { sessionId: '0f3c9a2e-fox', cwd: '/dev/my apps', name: 'kio-apps-2e', status: 'idle' });
const owl = declare('.claude-work', 'y.json',
    { sessionId: '7b1d44c0-owl', cwd: '/dev/büro', name: 'büro "Ω" 🦉', status: 'busy' });

const shown = (session, account) => `● ${session.address}
    account ${account} · pid ${pid} · ${session.cwd}
    liveness: alive via kill(pid,0) + procStart · reported: ${session.status}
    name set explicitly — it does not regenerate on its own
    sessionId: ${session.sessionId}`;

const accounts = `2 entries:

main — ${home}/.claude  (default)
    sources: defaultHome
    identity: unknown
work — ${home}/.claude-work
    sources: orphanDirectory
    identity: unknown

What this enumeration does NOT cover:
  · A config directory not named \`.claude-*\` shows up only if $CLAUDE_CONFIG_DIR or a shell alias names it.`;

const identity = `${fox.address}
  sessionId : ${fox.sessionId}
  account   : ${home}/.claude
  cwd       : ${fox.cwd}
  pid       : ${pid}
  started   : 2026-03-01 14:05:09 +0000
  name      : ${fox.name} (set explicitly)
  ref       : ${fox.ref}`;

const prepared = (session, account, warning) => `The target is ALIVE. Send it yourself, with SendMessage:

    SendMessage({ to: "${session.address}", message: "…" })

  sessionId (the stable key) : ${session.sessionId}
  account                    : ${account}
  cwd                        : ${session.cwd}
  liveness                   : alive via kill(pid,0) + procStart
${warning}
Brellin does NOT deliver the message itself. Delivery would require reading \`<pid>.<hash>.key\` (0600, \
\`peerToken\`) and reimplementing an undocumented, versioned protocol (\`peerProtocol: 1\`). Of eight apps that \
touch \`/tmp/cc-socks\`, zero write to it. What was missing was never the transport — it was knowing who the \
target is NOW.`;

const acrossAccounts = `
⚠ The target is on account \`work\`, you are on \`main\`. \`ListAgents\` shows YOUR account's registry, so this \
session does not appear there. If delivery fails with "No agent named", the cause is the account boundary, not a \
wrong address — the address above was just verified.
`;

const delivers = (query, session) => `\`${query}\` currently delivers to ${session.address}
  sessionId: ${session.sessionId}
  cwd      : ${session.cwd}`;

const right = [
    ['havrick_now', {}, `2 declared sessions across 2 accounts:\n\n${shown(fox, 'main')}\n${shown(owl, 'work')}`],
    ['havrick_accounts', {}, accounts],
    ['havrick_who', { sessionId: '0f3' }, identity],
    ['havrick_send', { sessionId: fox.sessionId }, prepared(fox, 'main', '')],
    ['havrick_send', { sessionId: '7' }, prepared(owl, 'work', acrossAccounts)],
    ['havrick_resolve', { query: fox.ref }, delivers(fox.ref, fox)],
    ['havrick_resolve', { query: owl.name }, delivers(owl.name, owl)],
];

// With a "=", and with characters that end a line for some readers.
const odd = 'a=\u2028b\r\n"\\\u0001🦊';
const wrong = [
    ['havrick_none', { query: 'x' }, 'Unknown verb: havrick_none'],
    ['havrick_resolve', { query: odd }, `\`${odd}\` is not the address of any currently declared session and does \
not appear in known history. It may be a session closed before Brellin began observing.`],
];
const needs = [
    ['havrick_who', 'sessionId', '.'],
    ['havrick_send', 'sessionId', `. Targets are named by sessionId, never by name: names are derived at fork, and \
a label that has moved would deliver to somebody else.`],
    ['havrick_resolve', 'query', '.'],
];
for (const [name, argument, rest] of needs) {
    for (const value of [undefined, '', 5, null, true, ['0f3'], { id: '0f3' }]) {
        wrong.push([name, { [argument]: value }, `${name} needs a non-empty \`${argument}\`${rest}`]);
    }
}

/** Calls, and the results that they must have. */
export const calls = [...right, ...wrong].map(([name, args, text], index) => (
    { name, arguments: args, result: { content: [{ type: 'text', text }], isError: index >= right.length } }
));

const text = { type: 'string', description: '…' };
const tool = (name, properties, rest) => (
    { name, description: '…', inputSchema: { type: 'object', properties, ...rest } }
);

/** The tools, with "…" for every description. */
export const catalogue = [
    tool('havrick_now', {}),
    tool('havrick_accounts', {}),
    tool('havrick_who', { sessionId: text }, { required: ['sessionId'] }),
    tool('havrick_send', { sessionId: text }, { required: ['sessionId'] }),
    tool('havrick_resolve', { query: text }, { required: ['query'] }),
];

/** Puts "…" for the descriptions that say something. */
export const outline = (list) =>
    JSON.parse(JSON.stringify(list), (key, value) => (key === 'description' && value.length > 9 ? '…' : value));
