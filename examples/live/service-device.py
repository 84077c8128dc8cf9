#!/usr/bin/env python3
"""A service device on two ports of a switch: what comes in the service VLAN on the near port leaves
in the original VLAN on the far one, and back. A file counts the frames that it has passed on, there
and back.

Usage: service-device.py NEAR FAR SERVICE_VLAN ORIGINAL_VLAN COUNTS
"""
import os
import select
import socket
import struct
import sys

SOL_PACKET, PACKET_AUXDATA, PACKET_IGNORE_OUTGOING = 263, 8, 23
VLAN_VALID = 0x10


def port(name):
    opened = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(3))
    opened.bind((name, 0))
    opened.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)
    opened.setsockopt(SOL_PACKET, PACKET_IGNORE_OUTGOING, 1)
    return opened


def receive(opened):
    """The frame without its tag, and the VLAN of the tag."""
    frame, ancillary, _, _ = opened.recvmsg(65536, 64)
    for level, kind, data in ancillary:
        if (level, kind) == (SOL_PACKET, PACKET_AUXDATA):
            status, tci = struct.unpack_from("I12xH", data)
            if status & VLAN_VALID:
                return frame, tci & 0xFFF
    return frame, None


near, far = port(sys.argv[1]), port(sys.argv[2])
service, original = int(sys.argv[3]), int(sys.argv[4])
with open(sys.argv[5]) as before:
    counts = dict(zip((near, far), map(int, before.read().split())))
while True:
    for source in select.select([near, far], [], [])[0]:
        frame, vlan = receive(source)
        target, taken, given = (far, service, original) if source is near else (near, original, service)
        if vlan == taken:
            target.send(frame[:12] + struct.pack(">HH", 0x8100, given) + frame[12:])
            counts[source] += 1
            with open(sys.argv[5] + "~", "w") as out:
                out.write(f"{counts[near]} {counts[far]}\n")
            os.rename(sys.argv[5] + "~", sys.argv[5])
