"""A running service with a virtual set of its own, and programs beside it."""

import ctypes
import os
import pathlib
import re
import signal
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
SECONDS = 30  # for the service to do what it has been asked
PR_SET_PDEATHSIG = 1


def die_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Service:
    """hidlaudio on a set with a back-end controller, with all its interfaces registered.

    The environment's EMULATOR runs the programs, if they are of another machine.
    """

    def __init__(self, folder, binaries, speed=1):
        self.binaries, self.root = binaries, pathlib.Path(folder, 'set')
        self.environment = dict(os.environ, TVSET_ROOT=str(self.root), TVSET_SPEED=str(speed))
        subprocess.run(self.command('tvset', 'create', '--model', 'backend'), check=True,
                       env=self.environment, stdout=subprocess.DEVNULL)
        self.log = pathlib.Path(folder, 'log')
        self.process = None
        self.start_service()

    def start_service(self):
        with open(self.log, 'ab') as log:
            self.process = subprocess.Popen(self.command('hidlaudio'), env=self.environment,
                                            stderr=log, preexec_fn=die_with_parent)
        try:
            self.wait_for(lambda: len(self.run('audioctl', 'list').splitlines()) == 7, 'start')
        except BaseException:
            self.kill()
            raise

    def kill(self):
        self.process.kill()
        self.process.wait(SECONDS)

    def command(self, program, *words):
        return [*os.environ.get('EMULATOR', '').split(), f'{self.binaries}/{program}', *words]

    def start(self, program, *words, root=None):
        """A program beside the service, with pipes for its output."""
        environment = dict(self.environment, TVSET_ROOT=str(root or self.root))
        return subprocess.Popen(self.command(program, *words), env=environment, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def run(self, program, *words, root=None, seconds=SECONDS):
        """What a program prints."""
        with self.start(program, *words, root=root) as running:
            try:
                return running.communicate(timeout=seconds)[0]
            except subprocess.TimeoutExpired:
                running.kill()
                raise

    def logged(self):
        return self.log.read_text(errors='replace')

    def wait_for(self, condition, what):
        end = time.monotonic() + SECONDS
        while not condition():
            if self.process.poll() is not None:
                raise RuntimeError(f'the service has exited with {self.process.returncode}:\n'
                                   f'{self.logged()[-4000:]}')
            if time.monotonic() > end:
                raise RuntimeError(f'no {what} within {SECONDS} s; usage: {self.usage()}')
            time.sleep(0.01)

    def usage(self):
        process = pathlib.Path('/proc', str(self.process.pid))
        status = (process / 'status').read_text()
        return {'KiB': int(re.search(r'VmRSS:\s*(\d+)', status)[1]),
                'threads': int(re.search(r'Threads:\s*(\d+)', status)[1]),
                'descriptors': len(os.listdir(process / 'fd'))}

    def examine_log(self):
        """Looks for reports of a sanitizer."""
        if re.search(r'Sanitizer|runtime error', self.logged()):
            raise RuntimeError(f'the service has reported:\n{self.logged()[-20000:]}')

    def end(self):
        """Ends it, unless kill() has, and examines how it went."""
        self.process.terminate()
        try:
            status = self.process.wait(SECONDS)
        except subprocess.TimeoutExpired:
            self.kill()
            raise
        if status not in (-signal.SIGTERM, -signal.SIGKILL):
            raise RuntimeError(f'the service has exited with {status}:\n{self.logged()[-4000:]}')
        self.examine_log()
