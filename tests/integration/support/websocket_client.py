"""usage: websocket_client.py URL SESSION CA_FILE [MESSAGE...]

Opens a WebSocket with a session's cookie, sends the messages, and prints what comes: "open", then "text ..." or
"binary HEX" for each frame, and "closed CODE". CA_FILE may be empty.
"""
import asyncio
import ssl
import sys

import websockets


def say(line):
    print(line, flush=True)


async def main(url, session, ca_file, messages):
    trust = ssl.create_default_context(cafile=ca_file) if ca_file else None
    headers = {"Cookie": "SID=" + session} if session else {}
    try:
        async with websockets.connect(url, ssl=trust, extra_headers=headers, max_size=None) as socket:
            say("open")
            for message in messages:
                await socket.send(message)
            try:
                async for frame in socket:
                    say("text " + frame if isinstance(frame, str) else "binary " + frame.hex())
            except websockets.ConnectionClosed:
                pass
            say("closed " + str(socket.close_code))
    except websockets.InvalidStatusCode as refusal:
        say("refused " + str(refusal.status_code))


asyncio.run(main(sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4:]))
