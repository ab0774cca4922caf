// The protocol's inspector, on the configuration that `nimbe mcp install` writes: what a
// desktop client makes of that file.
import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import { join } from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';
import { promisify } from 'node:util';

import { Home, mistake, payload, program } from './session.mjs';

// It looks for its own description from the current folder.
const cwd = fileURLToPath(
    new URL('node_modules/@modelcontextprotocol/inspector-cli/build', import.meta.url));

test('what is installed is what starts', { timeout: 60_000 }, async (t) => {
    const home = new Home(t);
    assert.equal(home.nimbe(['mcp', 'command']).trim(),
        `claude mcp add nimbe -- ${program} --mcp-stdio`);
    home.nimbe(['mcp', 'install']);
    assert.equal(JSON.parse(home.nimbe(['mcp', 'status', '--json'])).registered, true);
    const config = join(home.folder, '.config', 'Claude', 'claude_desktop_config.json');
    const ask = async (...words) => {
        const { stdout } = await promisify(execFile)(process.execPath,
            ['cli.js', '--cli', '--config', config, '--server', 'nimbe', ...words],
            { cwd, env: home.environment, encoding: 'utf8' });
        return JSON.parse(stdout);
    };
    const call = (name, ...args) => ask('--method', 'tools/call', '--tool-name', name,
        ...args.flatMap((arg) => ['--tool-arg', arg]));

    const { tools } = await ask('--method', 'tools/list');
    assert.equal(tools.length, 3);
    const [newest] = payload(await call('list_dictations', 'limit=1')).items;
    assert.equal(newest.id, home.dictations()[0].id);
    assert.equal(payload(await call('get_dictation', `id=${newest.id}`)).id, newest.id);
    const { results } = payload(await call('search_dictations', 'query=café', 'limit=5'));
    assert.equal(results.length, 1);
    assert.equal(mistake(await call('get_dictation', 'id=none')), 'No dictation with id none');

    home.nimbe(['mcp', 'remove']);
    await assert.rejects(ask('--method', 'tools/list'), /Server 'nimbe' not found/);
});
