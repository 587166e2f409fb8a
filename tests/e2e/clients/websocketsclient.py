#!/usr/bin/env python3
"""A connection of the package websockets to the event server, driven as wsclient.js is."""
import asyncio
import json
import sys

import websockets


def tell(*heard):
    print(json.dumps(heard), flush=True)


async def send_input(connection):
    lines = asyncio.StreamReader()
    await asyncio.get_running_loop().connect_read_pipe(lambda: asyncio.StreamReaderProtocol(lines), sys.stdin)
    async for line in lines:
        await connection.send(line.decode().rstrip("\n"))
    await connection.close()


async def main(url, cookie=None):
    headers = {"Cookie": cookie} if cookie else {}
    connection = await websockets.connect(url, extra_headers=headers)
    tell("open")
    sender = asyncio.create_task(send_input(connection))
    try:
        async for message in connection:
            tell("message", message)
    except websockets.ConnectionClosed:
        pass
    tell("close", connection.close_code, connection.close_reason)
    sender.cancel()


asyncio.run(main(*sys.argv[1:]))
