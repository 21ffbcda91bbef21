"""A client of the helper on Linux, written only from docs/protocol.md. Runs in the folder of the helper."""

import json
import math
import socket
import struct

NONE, INTEGER, TEXT, DATA = range(4)
FETCH_SNAPSHOT, HOLD, HAND_BACK, HELPER_VERSION, STAND_DOWN = range(1, 6)

helper = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
helper.settimeout(20)
helper.connect("app.kelo.helper.socket")
number = 0


def ask(request, fraction=0.0, hands_back_on_lid_close=False):
    """Sends a request and returns the answer: None, a number, a string or bytes."""
    global number
    number += 1
    helper.send(struct.pack("<QIId", number, request, hands_back_on_lid_close, fraction))
    reply = helper.recv(16 + 65536)
    answered, kind, reserved = struct.unpack_from("<QII", reply)
    assert (answered, reserved) == (number, 0), reply
    content = reply[16:]
    return {NONE: lambda: None, INTEGER: lambda: struct.unpack("<q", content)[0],
            TEXT: content.decode, DATA: lambda: content}[kind]()


assert ask(HELPER_VERSION) == 6
assert ask(HOLD, fraction=0.5) is None
snapshot = json.loads(ask(FETCH_SNAPSHOT))
assert snapshot["underKeloControl"] and snapshot["targetRPM"] in (3600, 3350), snapshot
for fraction in (math.inf, -math.inf, math.nan):
    assert ask(HOLD, fraction, True) is None
assert ask(HAND_BACK) is None
assert not json.loads(ask(FETCH_SNAPSHOT))["underKeloControl"]
assert ask(STAND_DOWN) is None
print("the helper serves a client that was written only from the document")
