"""Devices that answer multicast DNS queries for _hwenergy._tcp.local in ways of their own:

    mdnspeer.py INTERFACE KIND...

Each kind is a device that answers when the service is asked for. Writes "ready" to standard error when it listens.
"""
import random
import socket
import struct
import sys
import threading
import time

SERVICE = "_hwenergy._tcp.local"
GROUP4, GROUP6, PORT = "224.0.0.251", "ff02::fb", 5353
A, CNAME, PTR, TXT, AAAA, SRV = 1, 5, 12, 16, 28, 33
LATE_SECONDS = 3.5
FLOOD_SECONDS = 4.5


def name(text):
    return b"".join(bytes([len(label)]) + label.encode() for label in text.split(".")) + b"\0"


def record(owner, kind, data, ttl=120, record_class=1):
    return name(owner) + struct.pack("!HHIH", kind, record_class, ttl, len(data)) + data


def response(records, count=None):
    return struct.pack("!HHHHHH", 0, 0x8400, 0, len(records) if count is None else count, 0, 0) + b"".join(records)


def pointer(instance):
    return record(SERVICE, PTR, name(f"{instance}.{SERVICE}"))


def server(instance, host):
    return record(f"{instance}.{SERVICE}", SRV, struct.pack("!HHH", 0, 0, 80) + name(host))


def ipv4(host, address):
    return record(host, A, socket.inet_aton(address))


def ipv6(host, address):
    return record(host, AAAA, socket.inet_pton(socket.AF_INET6, address))


def device(instance, host, address):
    return [pointer(instance), server(instance, host), address(host)]


class Network:
    def __init__(self, interface):
        self.index = socket.if_nametoindex(interface)
        self.sockets = {family: self.open(family) for family in (socket.AF_INET, socket.AF_INET6)}

    def open(self, family):
        opened = socket.socket(family, socket.SOCK_DGRAM)
        opened.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        opened.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
        if family == socket.AF_INET:
            membership = struct.pack("=4s4si", socket.inet_aton(GROUP4), bytes(4), self.index)
            opened.bind(("", PORT))
            opened.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
            opened.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, struct.pack("=4s4si", bytes(4), bytes(4), self.index))
            opened.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 255)
        else:
            opened.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
            opened.bind(("", PORT))
            membership = socket.inet_pton(socket.AF_INET6, GROUP6) + struct.pack("=i", self.index)
            opened.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, membership)
            opened.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, self.index)
            opened.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_HOPS, 255)
        return opened

    def send(self, packet, family=socket.AF_INET):
        target = (GROUP4, PORT) if family == socket.AF_INET else (GROUP6, PORT, 0, self.index)
        try:
            self.sockets[family].sendto(packet, target)
        except OSError as error:
            print(error, file=sys.stderr)

    def asked(self, text, family=socket.AF_INET):
        """A generator that goes on with each query that has these words in it."""
        while True:
            packet = self.sockets[family].recv(9000)
            if not packet[2] & 0x80 and all(word.encode() in packet for word in text.split(".")):
                yield packet


def answer(network, records):
    for _ in network.asked("_hwenergy"):
        network.send(response(records))


def late(network):
    next(network.asked("_hwenergy"))
    time.sleep(LATE_SECONDS)
    network.send(response(device("late", "p1meter-late.local", lambda host: ipv4(host, "10.9.0.11"))))


def twice(network):
    for _ in network.asked("_hwenergy"):
        for instance in ("one", "one", "two"):
            network.send(response(device(instance, "p1meter-twice.local", lambda host: ipv4(host, "10.9.0.12"))))


def six(network):
    """Has and uses IPv6 only."""
    for _ in network.asked("_hwenergy", socket.AF_INET6):
        network.send(response(device("six", "p1meter-six.local", lambda host: ipv6(host, "fd00:9::13"))), socket.AF_INET6)


def link(network):
    answer(network, device("link", "p1meter-link.local", lambda host: ipv6(host, "fe80::14")))


def both(network):
    answer(network, device("both", "p1meter-both.local", lambda host: ipv6(host, "fd00:9::15"))
           + [ipv4("p1meter-both.local", "10.9.0.15")])


def bare(network):
    """Tells each thing when it is asked for it, and nothing else."""
    answers = {"_hwenergy": pointer("bare"), "p1meter-bare": ipv4("p1meter-bare.local", "10.9.0.16")}
    for packet in network.asked(""):
        if b"\x04bare" in packet:
            network.send(response([server("bare", "p1meter-bare.local")]))
        for word, told in answers.items():
            if word.encode() in packet and b"\x04bare" not in packet:
                network.send(response([told]))


def odd(network):
    """A name that JSON and terminals have to take care of."""
    host = 'p1meter-"\\\x1b.local'
    answer(network, device("odd", host, lambda owner: ipv4(owner, "10.9.0.17")))


def truncated(generator):
    packet = response(device("cut", "p1meter-cut.local", lambda host: ipv4(host, "10.9.0.2")))
    return packet[:generator.randrange(len(packet))]


def loops(generator):
    """Compressed names that lead to themselves, to each other and out of the packet."""
    target = generator.choice([b"\xc0\x0c", b"\xc0\x0e\xc0\x0c", b"\x01a\xc0\x0c", b"\xff\xff", b"\xc0\xff", b"\x3f"])
    return struct.pack("!HHHHHH", 0, 0x8400, 0, 1, 0, 0) + target + struct.pack("!HHIH", PTR, 1, 120, 2) + b"\xc0\x0c"


def aliases(generator):
    names = [SERVICE, f"a.{SERVICE}", f"b.{SERVICE}", "h.local", "k.local", "h.example.com", "local"]
    made = {PTR: name, CNAME: name, SRV: lambda text: bytes(6) + name(text), A: lambda _: b"\x0a\x09\0\x02",
            AAAA: lambda _: bytes(16), TXT: lambda _: b"\x03a=b", 47: lambda _: bytes(generator.randrange(256) for _ in range(9))}
    records = []
    for _ in range(generator.randint(1, 6)):
        kind = generator.choice([PTR, CNAME, CNAME, CNAME, SRV, A, AAAA, TXT, 47])
        records.append(record(generator.choice(names), kind, made[kind](generator.choice(names)),
                              generator.choice([0, 1, 120, 0xffffffff]), generator.choice([1, 0x8001, 255])))
    return response(records)


def noise(generator):
    packet = bytearray(aliases(generator))
    for _ in range(4):
        packet[generator.randrange(len(packet))] = generator.randrange(256)
    return bytes(packet)


def miscounted(_generator):
    return response([pointer("x")], 65535)


def hostile(network):
    """All that at once, and a meter in its midst."""
    generator = random.Random(1)
    next(network.asked("_hwenergy"))
    end = time.monotonic() + FLOOD_SECONDS
    good = response(device("good", "p1meter-good.local", lambda host: ipv4(host, "10.9.0.18")))
    while time.monotonic() < end:
        for _ in range(20):
            network.send(generator.choice([truncated, loops, aliases, noise, miscounted])(generator))
        network.send(good)
        time.sleep(0.02)


def many(network):
    """Ten thousand records, a hundred in each packet."""
    next(network.asked("_hwenergy"))
    network.send(response(device("good", "p1meter-first.local", lambda host: ipv4(host, "10.9.0.19"))))
    for block in range(100):
        network.send(response([pointer(f"d{100 * block + number}") for number in range(100)]))


def other(network):
    answer(network, device("socket", "energysocket-aabb.local", lambda host: ipv4(host, "10.9.0.20")))


def main():
    # one network each: every packet goes to every socket of the group
    for kind in sys.argv[2:]:
        threading.Thread(target=globals()[kind], args=(Network(sys.argv[1]),)).start()
    print("ready", file=sys.stderr, flush=True)


main()
