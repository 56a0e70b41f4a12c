// A server on the protocol's own SDK at a socket (its argument), as a peer for measurements: one tool
// that says what it was called with.

import { createServer } from 'node:net';
import { Server } from '@modelcontextprotocol/sdk/server/index.js';
import { StdioServerTransport } from '@modelcontextprotocol/sdk/server/stdio.js';
import { CallToolRequestSchema } from '@modelcontextprotocol/sdk/types.js';

createServer((socket) => {
  const server = new Server({ name: 'peer', version: '1.0.0' }, { capabilities: { tools: {} } });
  server.setRequestHandler(CallToolRequestSchema, ({ params }) => ({
    content: [{ type: 'text', text: `${params.name} ${JSON.stringify(params.arguments)}` }],
  }));
  socket.on('error', () => socket.destroy());
  server.connect(new StdioServerTransport(socket, socket));
}).listen(process.argv[2]);
process.stdin.resume().on('end', () => process.exit(0));
