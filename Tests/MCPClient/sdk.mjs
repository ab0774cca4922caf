// The public SDK's client, by the revision of the protocol that most clients speak.
import assert from 'node:assert/strict';
import test from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { ErrorCode } from '@modelcontextprotocol/sdk/types.js';

import { converse, Home, payload } from './session.mjs';

async function connect(home) {
    const transport = new StdioClientTransport(home.server());
    let said = '';
    transport.stderr.on('data', (part) => { said += part; });
    const client = new Client({ name: 'test', version: '1' });
    home.clients.push(client);
    await client.connect(transport);
    return { client, said: () => said };
}

test('a whole conversation', { timeout: 60_000 }, async (t) => {
    const home = new Home(t);
    const { client, said } = await connect(home);
    await client.ping();
    await converse(client, home);
    await assert.rejects(client.listPrompts(), ({ code, message }) =>
        code === ErrorCode.MethodNotFound && message.endsWith('Method not found: prompts/list'));
    await client.close();
    assert.equal(home.exitCode(), '0', 'the program ends by itself when its client goes');
    assert.match(said(), /^nimbe-mcp: ready \(\d/);
});

test('a client that goes in the middle of an answer', { timeout: 60_000 }, async (t) => {
    const home = new Home(t);
    const { client } = await connect(home);
    const search = { name: 'search_dictations', arguments: { query: 'long' } };
    const pending = Array.from({ length: 200 }, () => client.callTool(search).catch(() => {}));
    await client.close();
    await Promise.all(pending);
    assert.equal(home.exitCode(), '0');
});

test('two clients at once, and a history that is empty', { timeout: 60_000 }, async (t) => {
    const home = new Home(t);
    const [first, second] = await Promise.all([connect(home), connect(home)]);
    const ids = home.dictations().map(({ id }) => id);
    home.nimbe(['history', 'delete', ...ids]);
    for (const { client } of [first, second]) {
        const page = payload(await client.callTool({ name: 'list_dictations', arguments: {} }));
        assert.deepEqual(page, { items: [] });
    }
    await Promise.all([first.client.close(), second.client.close()]);
});
