// The next SDK's client, which asks first whether the server speaks the newest revision of
// the protocol and goes back to the one before.
import assert from 'node:assert/strict';
import test from 'node:test';

import { converse, Home } from './session.mjs';

const needsNode = 20;
const isTooOld = Number(process.versions.node.split('.')[0]) < needsNode;
const skip = isTooOld && `this client needs Node.js ${needsNode}`;

for (const mode of ['auto', 'legacy'])
    test(`a whole conversation, ${mode}`, { skip, timeout: 60_000 }, async (t) => {
        const { Client } = await import('@modelcontextprotocol/client');
        const { StdioClientTransport } = await import('@modelcontextprotocol/client/stdio');
        const home = new Home(t);
        const client = new Client({ name: 'test', version: '1' }, { versionNegotiation: { mode } });
        home.clients.push(client);
        await client.connect(new StdioClientTransport(home.server()));
        await converse(client, home);
        await client.close();
        assert.equal(home.exitCode(), '0');
    });
