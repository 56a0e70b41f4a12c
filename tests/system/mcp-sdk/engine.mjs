// A desktop-control engine on the protocol's own SDK: its tools say what they were called with.

import { Server } from '@modelcontextprotocol/sdk/server/index.js';
import { StdioServerTransport } from '@modelcontextprotocol/sdk/server/stdio.js';
import { CallToolRequestSchema, ListToolsRequestSchema } from '@modelcontextprotocol/sdk/types.js';

const names = ['ax_snapshot', 'click_element', 'type_text', 'press_key', 'drag'];

const server = new Server({ name: 'test-engine', version: '1.0.0' }, { capabilities: { tools: {} } });
server.setRequestHandler(ListToolsRequestSchema, () => ({
  tools: names.map((name) => ({
    name,
    description: `Does ${name}.`,
    inputSchema: { type: 'object', properties: { text: { type: 'string' } } },
  })),
}));
server.setRequestHandler(CallToolRequestSchema, ({ params }) => ({
  content: [{ type: 'text', text: `${params.name} ${JSON.stringify(params.arguments)}` }],
}));
await server.connect(new StdioServerTransport());
