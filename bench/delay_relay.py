"""delay_relay.py SERVER ADDRESS: a link with a round trip of 20 ms to a media server.

What comes to the ports of the protocol at ADDRESS goes on to SERVER, each way late, however much
is under way. Runs until it is ended; says "ready" once it listens.
"""

import asyncio
import sys
import time
from collections.abc import Awaitable, Callable

ONE_WAY = 0.01  # seconds
PORTS = (7549, 7550)


async def forward(reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
    """What is read goes on after the delay."""
    chunks: asyncio.Queue[tuple[float, bytes] | None] = asyncio.Queue()

    async def send() -> None:
        while (item := await chunks.get()) is not None:
            await asyncio.sleep(max(0, item[0] - time.monotonic()))
            writer.write(item[1])
            await writer.drain()
        writer.close()

    sending = asyncio.create_task(send())
    while data := await reader.read(1 << 18):
        chunks.put_nowait((time.monotonic() + ONE_WAY, data))
    chunks.put_nowait(None)
    await sending


async def relay(server: str, address: str, listening: Callable[[], None] = lambda: None) -> None:
    def accept(
        port: int,
    ) -> Callable[[asyncio.StreamReader, asyncio.StreamWriter], Awaitable[None]]:
        async def connected(reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
            other_reader, other_writer = await asyncio.open_connection(server, port)
            await asyncio.gather(forward(reader, other_writer), forward(other_reader, writer))

        return connected

    servers = [await asyncio.start_server(accept(port), address, port) for port in PORTS]
    listening()
    await asyncio.gather(*(server.serve_forever() for server in servers))


if __name__ == "__main__":
    asyncio.run(relay(sys.argv[1], sys.argv[2], lambda: print("ready", flush=True)))
