#!/usr/bin/env python3
"""Sends random messages to a running service, and checks that it is none the worse for it.

The messages are the calls of all methods as audioctl makes them, most of them changed: bytes, size,
header, descriptors, whether they have a reply. Callbacks are answered well, badly or not at all;
connections are closed at any point. Clients come and go. In the end an honest client is served, and
the memory, descriptors and threads of the service are what they were after a first round.
"""

import argparse
import array
import contextlib
import math
import multiprocessing
import os
import pathlib
import random
import re
import select
import socket
import struct
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / 'tests/checks'))
sys.dont_write_bytecode = True
from service import Service  # noqa: E402

# What a type of the interfaces is tried with, in the form of a command line.
ARGUMENTS = {
    'bool': ['true', 'false'],
    'int32_t': ['1', '2', '254'],
    'string': ['PCM', 'Zavo'],
    'ParamType': ['0', '1', '2'],
    'vec<uint8_t>': ['[1]', str(list(range(200)))],
    'vec<string>': ['["ARC_DD_PLUS","EARC_DD_ATMOS"]', '["ARC_DD_NONE"]'],
    'vec<calibratedData>': [f'@{ROOT}/examples/calibration.json'],
    'interface': ['callback'],
}
HEADER = struct.Struct('<6I16s')  # kind, method, flags, size of the body, descriptors, space, target
CALL, REPLY = 0x4C4C4143, 0x594C5052
ONE_WAY = 1
DONE = HEADER.pack(REPLY, 0, 0, 8, 0, 0, bytes(16)) + bytes(8)
CLIENT_MESSAGES = 50_000  # of a process, which is one client
CONNECTIONS = 24


def receive(connection, size):
    data, fds = b'', array.array('i')
    while len(data) < size:
        part, ancillary, _, _ = connection.recvmsg(size - len(data), 4096)
        for _, _, passed in ancillary:
            fds.frombytes(passed)
        if not part:
            raise EOFError
        data += part
    return data, list(fds)


def forward(source, target, recorded):
    """Passes messages on until a side ends; calls go to `recorded`, too."""
    try:
        while True:
            header, fds = receive(source, HEADER.size)
            body, more = receive(source, HEADER.unpack(header)[3])
            fds += more
            target.sendmsg([header + body],
                           [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array('i', fds))])
            for fd in fds:
                os.close(fd)
            if recorded is not None:
                recorded.append((header + body, len(fds)))
    except (EOFError, OSError):
        for end in (source, target):
            with contextlib.suppress(OSError):
                end.shutdown(socket.SHUT_RDWR)  # wakes up who receives from it
            end.close()


def record(service, folder):
    """The calls that audioctl makes, by socket: [(message, number of descriptors)]."""
    between = pathlib.Path(folder, 'between')
    service.run('tvset', 'create', root=between)
    calls = {}

    def serve(listener, path):
        while True:
            client, _ = listener.accept()
            target = socket.socket(socket.AF_UNIX)
            target.connect(str(path))
            for source, to, kept in ((client, target, calls[path.name]), (target, client, None)):
                threading.Thread(target=forward, args=(source, to, kept), daemon=True).start()

    for path in service.root.glob('run/*'):
        if path.is_symlink():
            (between / 'run' / path.name).symlink_to(path.readlink())
            continue
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(str(between / 'run' / path.name))
        listener.listen()
        calls[path.name] = []
        threading.Thread(target=serve, args=(listener, path), daemon=True).start()
    for interface in service.run('audioctl', 'call').split():
        service.run('audioctl', 'debug', interface, root=between)
        for method in service.run('audioctl', 'call', interface).splitlines():
            name, parameters = re.match(r'(\w+)\((.*?)\)', method).groups()
            types = [each.split()[0] for each in parameters.split(', ') if each]
            values = [ARGUMENTS['interface' if re.match(r'I[A-Z]', each) else each]
                      for each in types]
            for i in range(max([len(each) for each in values], default=1)):
                words = [each[i % len(each)] for each in values]
                with service.start('audioctl', 'call', interface, name, *words,
                                   root=between) as caller:
                    caller.stdout.readline()  # the result, or the end: the object is rejected
                    caller.kill()  # it may wait for its callback
    for name, recorded in calls.items():
        if not recorded:
            sys.exit(f'storm: no call to the socket {name} was recorded')
    return {name: sorted(set(recorded)) for name, recorded in calls.items()}


def one_way(message):
    return message[:8] + struct.pack('<I', ONE_WAY) + message[12:]


class Connection:
    def __init__(self, end, name):
        self.socket, self.name, self.is_waiting = end, name, False


class Client:
    """One process, with connections to all services."""

    def __init__(self, root, calls, seed):
        self.root, self.calls, self.random = root, calls, random.Random(seed)
        self.connections, self.callbacks, self.all_calls = [], [], sum(calls.values(), [])

    def changed(self, message):
        """Mostly the message with a fault in it."""
        data, choose = bytearray(message), self.random
        kind = choose.randrange(10)
        if kind < 3:
            return message
        if kind < 6:  # in the body, where there is one
            for _ in range(choose.randrange(1, 4)):
                at = choose.randrange(min(HEADER.size, len(data) - 1), len(data))
                data[at] = choose.choice((0, 1, 0x7F, 0x80, 0xFF, choose.randrange(256)))
        elif kind == 6:
            data[choose.randrange(HEADER.size)] = choose.randrange(256)
        elif kind == 7:
            return one_way(message)
        elif kind == 8:  # another method
            struct.pack_into('<I', data, 4, choose.randrange(20))
        else:  # a body of another size, as its header tells
            body = data[HEADER.size:]
            body = body[:choose.randrange(len(body) + 1)] + bytes(choose.choice((0, 8, 64)))
            struct.pack_into('<I', data, 12, len(body))
            data[HEADER.size:] = body
        return bytes(data)

    def connect(self):
        name = self.random.choice(list(self.calls))
        connection = Connection(socket.socket(socket.AF_UNIX), name)
        connection.socket.connect(f'{self.root}/run/{name}')
        connection.socket.setblocking(False)
        self.connections.append(connection)

    def drop(self, connections, connection):
        connection.socket.close()
        connections.remove(connection)

    def send(self, connection, data, fds=()):
        """Whether the service has taken all of it."""
        rights = [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array('i', fds))] if fds else []
        try:
            return connection.socket.sendmsg([data], rights) == len(data)
        except OSError:
            return False

    def send_calls(self, connection):
        """A call, behind some that have no reply; @return their number."""
        choose = self.random
        calls = self.calls[connection.name] if choose.randrange(10) else self.all_calls
        message, count = choose.choice(calls)
        batch = [self.changed(message)]
        if count:  # descriptors come with the first byte of a message
            count = choose.choice((count, count, count, 0, count + 1, 40))
        else:
            others = [call for call, fds in calls if fds == 0 and len(call) < 1000]
            for call in choose.choices(others, k=choose.choice((0, 0, 4, 16))):
                batch.insert(0, one_way(self.changed(call)))
        pairs = [socket.socketpair() for _ in range(count)]
        is_sent = self.send(connection, b''.join(batch), [theirs.fileno() for _, theirs in pairs])
        for ours, theirs in pairs:
            theirs.close()
            ours.setblocking(False)
            self.callbacks.append(Connection(ours, connection.name))
        while len(self.callbacks) > 64:
            self.drop(self.callbacks, choose.choice(self.callbacks))
        connection.is_waiting = batch[-1][8:12] != struct.pack('<I', ONE_WAY)
        if not is_sent or choose.randrange(200) == 0:
            self.drop(self.connections, connection)
        return len(batch)

    def read(self):
        """Takes what has come, and answers callbacks, mostly well."""
        sockets = {each.socket: each for each in self.connections + self.callbacks}
        for ready in select.select(list(sockets), [], [], 0.01)[0]:
            connection = sockets[ready]
            is_callback = connection in self.callbacks
            try:
                data = ready.recv(1 << 16)
            except OSError:
                data = b''
            connection.is_waiting = False
            if not data:
                self.drop(self.callbacks if is_callback else self.connections, connection)
            elif is_callback:
                kind = self.random.randrange(40)
                if kind > 4:
                    self.send(connection, DONE)
                elif kind > 0:
                    self.send(connection, self.changed(
                        self.random.choice(self.all_calls)[0] if kind < 3 else DONE))

    def run(self, messages):
        while messages > 0:
            while len(self.connections) < CONNECTIONS:
                self.connect()
            for connection in list(self.connections):
                # More behind a call that has a reply ends the connection.
                if not connection.is_waiting or self.random.randrange(500) == 0:
                    messages -= self.send_calls(connection)
                elif self.random.randrange(50) == 0:  # its size may promise what never comes
                    self.drop(self.connections, connection)
            self.read()


def storm(service, calls, seed, messages, end):
    """@return the number of messages: those that are asked for, or what fits in the time."""
    sent = 0
    while sent < messages and time.monotonic() < end:
        count = min(CLIENT_MESSAGES, messages - sent)
        client = multiprocessing.Process(
            target=lambda: Client(service.root, calls, f'{seed} {sent}').run(count))
        client.start()
        client.join()
        if client.exitcode != 0:
            sys.exit('storm: a client has failed, see above; the service '
                     f'{"is there" if service.process.poll() is None else "has ended"}')
        sent += count
        service.examine_log()
        for grown in (service.log, service.root / 'journal'):  # with each message
            os.truncate(grown, 0)
    service.wait_for(lambda: service.run('audioctl', 'call', 'IOutputSpeaker', 'setTvPosition',
                                         '1') == '0\n', 'answer to an honest client')
    return sent


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('binaries', metavar='FOLDER', help='of the programs: build/release/bin')
    limit = parser.add_mutually_exclusive_group()
    limit.add_argument('--messages', metavar='N', type=int, default=100_000)
    parser.add_argument('--heap', metavar='KIB', type=int, default=2048,
                        help='what the memory may grow by, however many messages there are')
    limit.add_argument('--seconds', metavar='S', type=float, help='as many as fit, instead')
    parser.add_argument('--seed', type=int, default=random.randrange(1 << 16))
    options = parser.parse_args()
    multiprocessing.set_start_method('fork')
    print(f'storm: seed {options.seed}', flush=True)
    with tempfile.TemporaryDirectory() as folder:
        service = Service(folder, options.binaries, speed=1000)
        try:
            # Starts the set's thread for delays.
            service.run('audioctl', 'upload', 'hrtf', __file__)
            calls = record(service, folder)
            messages = options.messages if options.seconds is None else sys.maxsize
            storm(service, calls, options.seed, min(messages, 2 * CLIENT_MESSAGES), math.inf)
            time.sleep(1)  # until the last client's death is noticed
            before, begin = service.usage(), time.monotonic()
            sent = storm(service, calls, options.seed + 1, messages,
                         begin + (options.seconds or math.inf))
            seconds = time.monotonic() - begin
            service.wait_for(lambda: all(
                service.usage()[each] <= before[each] + (options.heap if each == 'KiB' else 0)
                for each in before), f'return to {before}')
            print(f'storm: {sent} messages in {seconds:.0f} s; '
                  f'before {before}, after {service.usage()}')
        finally:
            service.end()


if __name__ == '__main__':
    main()
