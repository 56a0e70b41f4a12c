// An external agent on the protocol's own SDK: starts the bridge (its arguments), makes the requests
// of a session, and prints what each came to, a line each.

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';

const callsAtOnce = 50;

const textOf = (result) => (result.isError ? '!' : '') + result.content[0].text;
const call = (name, args = {}) => client.callTool({ name, arguments: args }).then(textOf);

const [command, ...args] = process.argv.slice(2);
const client = new Client({ name: 'test-agent', version: '1.0.0' });
await client.connect(new StdioClientTransport({ command, args, env: process.env }));

const server = client.getServerVersion();
console.log('server', server.name, server.version);
await client.ping();
const { tools } = await client.listTools();
console.log('tools', tools.map((tool) => tool.name).join(' '));
console.log('call', await call('type', { text: 'hello' }));
console.log('held', await call('click', { label: 'Delete' }));
console.log('confirmed', await call('click', { label: 'Delete', confirmed: true }));
console.log('unknown', await call('nonsense'));
console.log('unsupported', await client.listPrompts().catch((error) => error.message));

const texts = Array.from({ length: callsAtOnce }, (_, index) => `text ${index}`);
const answers = await Promise.all(texts.map((text) => call('type', { text })));
const isMatched = answers.every((answer, index) => answer.includes(`"${texts[index]}"`));
console.log('at once', isMatched ? 'each its own answer' : answers);
await client.close();
console.log('closed');
