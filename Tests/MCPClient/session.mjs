// What the tests of all clients share: a history of their own, and the server on it.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

export const program = process.env.NIMBE_EXECUTABLE;
assert.ok(program, 'NIMBE_EXECUTABLE names the program to test');

// A whole text that is a preview's 120 characters, or one more, counted as people do.
const family = '👨‍👩‍👧';
const texts = [
    ['notes', 'The café on Market Street opens at nine.'],
    ['email', 'Dear Zoë,\nthe "draft" is in C:\\notes\u0001, see \u2028 below.\n'],
    ['coding', `sum ${'x'.repeat(199)}`],
    ['messaging', family.repeat(120)],
    ['notes', family.repeat(121)],
    ['notes', 'long '.repeat(40_000)],
];

/// A folder with dictations in it, removed when the test ends, however it does.
export class Home {
    clients = []; // closed then, as one that is open would keep the test from ending

    constructor(t) {
        this.folder = mkdtempSync(join(tmpdir(), 'nimbe-mcp-'));
        t.after(async () => {
            await Promise.all(this.clients.map((client) => client.close()));
            rmSync(this.folder, { recursive: true });
        });
        this.environment = { ...process.env, HOME: this.folder, NIMBE_HOME: this.folder };
        delete this.environment.XDG_CONFIG_HOME;
        for (const [mode, text] of texts) this.add(text, mode);
    }

    nimbe(words, input = '') {
        const options = { env: this.environment, input, encoding: 'utf8' };
        options.stdio = ['pipe', 'pipe', 'pipe']; // what goes wrong is in the exception
        return execFileSync(program, words, options);
    }

    add(text, mode = 'notes') {
        return JSON.parse(this.nimbe(['history', 'add', '--mode', mode, '--json'], text));
    }

    /// As the program itself tells them, newest first.
    dictations() {
        return JSON.parse(this.nimbe(['history', 'list', '--json']));
    }

    /// What a client starts; how it ended stands in a file then.
    server() {
        const script = '"$1" --mcp-stdio; echo $? >"$2"';
        return {
            command: '/bin/sh',
            args: ['-c', script, 'sh', program, join(this.folder, 'ended')],
            env: this.environment,
            stderr: 'pipe',
        };
    }

    exitCode() {
        return readFileSync(join(this.folder, 'ended'), 'utf8').trim();
    }
}

const characters = new Intl.Segmenter('en', { granularity: 'grapheme' });

export function cut(text, most) {
    // Each piece keeps all that is segmented; here none is longer than 8 units.
    const beginning = text.slice(0, 8 * (most + 1));
    const all = [...characters.segment(beginning)].map(({ segment }) => segment);
    return all.length <= most ? text : `${all.slice(0, most).join('')}…`;
}

export function payload(result) {
    assert.equal(result.isError, false, JSON.stringify(result));
    assert.equal(result.content.length, 1);
    assert.equal(result.content[0].type, 'text');
    return JSON.parse(result.content[0].text);
}

export function mistake(result) {
    assert.equal(result.isError, true);
    return result.content[0].text;
}

/// The same for every client that keeps to the protocol: lists, searches, reads, fails,
/// asks many things at once. `client` is connected.
export async function converse(client, home) {
    const expected = home.dictations();
    const call = (name, args) => client.callTool({ name, arguments: args });

    assert.equal(client.getServerVersion().name, 'nimbe');
    assert.deepEqual(client.getServerCapabilities(), { tools: {} });
    const { tools } = await client.listTools();
    assert.deepEqual(tools.map(({ name }) => name),
        ['search_dictations', 'get_dictation', 'list_dictations']);
    for (const tool of tools) {
        assert.equal(tool.inputSchema.type, 'object', tool.name);
        assert.deepEqual(tool.annotations, { readOnlyHint: true, openWorldHint: false }, tool.name);
    }

    // Page by page the whole history, as the program itself has it.
    const items = [];
    let cursor;
    do {
        const page = payload(await call('list_dictations', { limit: 4, cursor }));
        assert.ok(page.items.length <= 4);
        items.push(...page.items);
        cursor = page.nextCursor;
    } while (cursor !== undefined);
    assert.deepEqual(items, expected.map(({ id, text, timestamp, mode }) =>
        ({ id, preview: cut(text, 120), createdAt: timestamp, mode })));

    for (const { id, text, timestamp, mode } of expected)
        assert.deepEqual(payload(await call('get_dictation', { id })),
            { id, text, createdAt: timestamp, mode });

    const found = payload(await call('search_dictations', { query: 'MARKET café' }));
    const { id, text, timestamp, mode } = expected.find((entry) => entry.text.includes('café'));
    assert.deepEqual(found.results,
        [{ id, snippet: cut(text, 200), score: 1, createdAt: timestamp, mode }]);
    assert.equal(payload(await call('search_dictations', { query: '', limit: 100 })).results.length,
        expected.length);

    assert.equal(mistake(await call('search_dictations', {})), "Missing 'query'");
    assert.equal(mistake(await call('get_dictation', { id: 7 })), "Missing 'id'");
    assert.equal(mistake(await call('get_dictation', { id: id.toLowerCase() })),
        `No dictation with id ${id.toLowerCase()}`);
    assert.equal(mistake(await call('nöne', {})), 'Unknown tool: nöne');

    // 64 at once: each answer goes to who asked.
    const asked = Array.from({ length: 64 }, (_, i) => expected[i % expected.length].id);
    const answers = await Promise.all(asked.map((one) => call('get_dictation', { id: one })));
    assert.deepEqual(answers.map((answer) => payload(answer).id), asked);

    // What another program adds between two calls is there, what it deletes is not.
    const late = home.add('added while a client was listening');
    assert.equal(payload(await call('get_dictation', { id: late.id })).text, late.text);
    home.nimbe(['history', 'delete', late.id]);
    assert.equal(mistake(await call('get_dictation', { id: late.id })),
        `No dictation with id ${late.id}`);
}
