"""The running service with audioctl beside it: its names, its death, uploads with all their
outcomes and early ends."""

import os
import pathlib
import re
import select
import signal
import subprocess
import tempfile
import time
import unittest

from service import ROOT, SECONDS, Service

REACTION = 'bectrl/reaction'
STATE = 'fs/proc/driver/zavo_bectrl/audio/device_parameter_complete'
# What a file of the set holds, the exit status, and the last line that is printed.
OUTCOMES = {
    'success': (REACTION, b'0 0x01 0', 0, 'transferred 600000 bytes'),
    'cancelled': (REACTION, b'0 0x03 0', 1, 'cancelled (1)'),
    'refused': (REACTION, b'0 0xF3 0', 1, 'refused by the controller (-1)'),
    'unknown': (REACTION, b'0 0x77 0', 1, 'timed out, not taken by the controller, or ended with '
                                          'an unknown outcome (-2)'),
    'busy afterwards': (REACTION, b'0 0x02 0', 1, 'the controller is busy, or the transfer could '
                                                  'not be started (-3)'),
    'busy before': (STATE, b'\1\1', 1, 'audioctl: apply: the controller is busy (-3)'),
    'no state': (STATE, b'', 1, 'audioctl: apply: the controller cannot be reached, or no thread '
                                'could be started (-5)'),
}


class WithService(unittest.TestCase):
    SPEED = 1

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.service = Service(folder.name, os.environ['BINARIES'], self.SPEED)
        self.addCleanup(self.service.end)
        self.file = pathlib.Path(folder.name, 'parameters')
        self.file.write_text('0123456789')

    def start(self, *words):
        program = self.service.start('audioctl', *words)
        self.addCleanup(program.communicate)
        self.addCleanup(program.kill)
        return program

    def call(self, interface, method, *arguments):
        return self.service.run('audioctl', 'call', interface, method, *arguments).strip()

    def wait_until_told(self, program, text):
        """What follows the text on standard error is left for the next time."""
        told = getattr(program, 'told', '')
        while text not in told:
            is_ready, _, _ = select.select([program.stderr], [], [], SECONDS)
            more = os.read(program.stderr.fileno(), 4096).decode() if is_ready else ''
            self.assertTrue(more, f'not "{text}" but: {told}')
            told += more
        program.told = told[told.index(text) + len(text):]


class Program(WithService):
    def test_the_init_file_names_what_is_served(self):
        named = re.findall('interface (.*) default\n', (ROOT / 'service/hidlaudio.rc').read_text())
        links = [path.name for path in self.service.root.glob('run/*') if path.is_symlink()]
        self.assertEqual(sorted(f'{name}%2Fdefault' for name in named), sorted(links))

    def announce(self):
        """Changes the capabilities, by names of which one has to be escaped."""
        self.assertEqual('0', self.call('IHdmiAudio', 'setAudioCapabilities',
                                        r'["ARC_DD_PLUS","ARC_DD_\n"]'))

    def test_a_callback_is_served_until_its_first_call_or_until_stopped(self):
        for stay in ([], ['--stay']):
            with self.subTest(stay):
                program = self.start('call', 'IHdmiAudio@1.1', 'setCallback', 'callback', *stay)
                self.assertEqual('null\n', program.stdout.readline())
                for _ in range(1 + len(stay)):
                    self.announce()
                    self.assertEqual(r'onCapabilityChanged ["ARC_DD_PLUS","ARC_DD_\n"]',
                                     program.stdout.readline().rstrip('\n'))
                if stay:
                    program.terminate()
                self.assertEqual((0, ''), (program.wait(SECONDS), program.stdout.read()))

    def test_a_callback_ends_with_its_service(self):
        program = self.start('call', 'IOutputExternal', 'registerEncodingFormatListener',
                             'callback')
        self.assertEqual('0\n', program.stdout.readline())
        self.service.kill()
        self.assertEqual('audioctl: IOutputExternal@3.1: the service has died\n',
                         program.communicate(timeout=SECONDS)[1])
        self.assertEqual(3, program.returncode)

    def test_watch_waits_for_the_service_to_return_and_prints_each_change(self):
        program = self.start('watch')
        self.wait_until_told(program, 'watching\n')
        self.service.kill()
        self.wait_until_told(program, 'the service has gone; waiting for it\n')
        self.service.start_service()
        self.wait_until_told(program, 'watching\n')
        for _ in range(2):
            self.announce()
            self.assertEqual(r'ARC_DD_PLUS ARC_DD_\n', program.stdout.readline().rstrip('\n'))
        program.send_signal(signal.SIGINT)
        self.assertEqual(0, program.wait(SECONDS))

    def test_a_refused_call_waits_for_no_callback(self):
        program = self.start('call', 'IHeadphoneVirtualizer', 'apply', '99', 'callback')
        self.assertEqual('-1\n', program.communicate(timeout=SECONDS)[0])
        self.assertEqual(0, program.returncode)

    def test_the_status_shows_the_service(self):
        program = self.start('status')
        out, _ = program.communicate(timeout=SECONDS)
        self.assertEqual(0, program.returncode)
        self.assertEqual(['eARC Dolby       EARC_DD_ATMOS', 'Encoding listener: there',
                          'latency          1024 samples at 48000 Hz, 21.33 ms',
                          'available types  Zavo', 'upmix            on'],
                         re.findall(r'(eARC.*|.*: .*|latency.*|available t.*|upmix.*)\n', out))


class Upload(WithService):
    def upload(self, kind='device'):
        return self.start('upload', kind, str(self.file))

    def buffer(self, method, *arguments):
        return self.call('IHeadphoneVirtualizer', method, *arguments)

    def set_holds(self, file, content):
        (self.service.root / file).write_bytes(content)

    def wait_until_logged(self, text):
        self.service.wait_for(lambda: text in self.service.logged(), text)

    def wait_until_asked(self, program, requests):
        """Until the controller has been asked that often, and the program waits for it."""
        journal = self.service.root / 'journal'
        self.service.wait_for(lambda: journal.read_text().count('ioctl(') == requests, 'request')
        self.wait_until_told(program, 'waiting for the controller')

    def test_it_reports_the_outcome(self):
        self.file.write_bytes(b'a' * 300_000 + b'b' * 300_000)
        for name, (file, content, status, told) in OUTCOMES.items():
            with self.subTest(name):
                self.set_holds(file, content)
                program = self.upload()
                out, err = program.communicate(timeout=SECONDS)
                self.assertEqual((status, told), (program.returncode, (err + out).splitlines()[-1]))
        copy = self.service.root / 'bectrl/device_parameters.bin'
        self.assertEqual(self.file.read_bytes(), copy.read_bytes())
        self.assertEqual('-1', self.buffer('discardParameterBuffer', str(len(OUTCOMES))),
                         'there is none left')

    def test_it_gives_its_buffer_back_when_it_is_stopped_or_displaced(self):
        self.set_holds(REACTION, b'')
        os.truncate(self.file, 1 << 30)
        stopped = self.upload()
        self.wait_until_logged('[append] start. handle=1\n')
        stopped.send_signal(signal.SIGINT)
        self.assertEqual(1, stopped.wait(SECONDS))
        self.assertEqual('-1', self.buffer('discardParameterBuffer', '1'))

        displaced = self.upload()
        self.wait_until_logged('[append] start. handle=2\n')
        displaced.send_signal(signal.SIGSTOP)
        self.assertEqual('3', self.buffer('allocateParameterBuffer', 'DEVICE_PARAMETER', '1'))
        displaced.send_signal(signal.SIGCONT)
        self.wait_until_told(displaced, 'another client took over the kind (-1)')
        self.assertEqual(1, displaced.wait(SECONDS))

        self.file.write_text('0123456789')
        self.set_holds(REACTION, b'0 0x01 0')
        self.assertEqual(0, self.upload().wait(SECONDS), 'in place of the other client')

    def test_it_cancels_a_transfer_and_waits_for_its_end(self):
        self.set_holds(REACTION, b'')
        cancelled = self.upload()
        self.wait_until_asked(cancelled, 1)
        cancelled.terminate()
        self.assertEqual('cancelled (1)\n', cancelled.communicate(timeout=SECONDS)[0])
        self.assertEqual(1, cancelled.returncode)

        self.wait_until_logged('paramTransferThread finished')
        self.set_holds('faults', b'ioctl(0xC0106303) -1\n')
        insistent = self.upload()
        self.wait_until_asked(insistent, 3)
        insistent.send_signal(signal.SIGINT)
        self.wait_until_told(insistent, '(-4); still waiting')
        insistent.send_signal(signal.SIGINT)
        self.assertEqual(-signal.SIGINT, insistent.wait(SECONDS))

        orphaned = self.upload('hrtf')
        self.wait_until_told(orphaned, 'waiting for the controller')
        self.service.kill()
        self.assertEqual(3, orphaned.wait(SECONDS))

    def test_it_does_not_begin_if_it_must_fail(self):
        large, proc = self.file.with_name('large'), self.file.with_name('proc')
        large.touch()
        os.truncate(large, 1 << 31)
        proc.symlink_to('/proc/self/status')
        small = self.file
        for name in ('', 'no', 'large', 'proc'):
            with self.subTest(name):
                self.file = small.with_name(name) if name else small.parent
                self.assertEqual(2, self.upload().wait(SECONDS))
        self.file = small
        self.service.kill()
        self.assertEqual(3, self.upload().wait(SECONDS))


class FastSet(WithService):
    SPEED = 100

    def test_the_speed_shortens_the_times_of_the_service_and_of_the_set(self):
        begin = time.monotonic()
        for reaction, told in (('0 0x01 15000', 'transferred 10 bytes'),
                               ('', OUTCOMES['unknown'][3])):
            (self.service.root / REACTION).write_text(reaction)
            self.assertEqual(told + '\n',
                             self.service.run('audioctl', 'upload', 'hrtf', str(self.file)))
        self.assertLess(time.monotonic() - begin, 10)


class Tool(unittest.TestCase):
    """tvset and audioctl without a service."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name, 'set')

    def run_tool(self, *words):
        """Exit status, standard output, standard error."""
        command = [*os.environ.get('EMULATOR', '').split(), *words]
        command[-len(words)] = f'{os.environ["BINARIES"]}/{words[0]}'
        ended = subprocess.run(command, env=dict(os.environ, TVSET_ROOT=str(self.root)), text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        return ended.returncode, ended.stdout, ended.stderr

    def test_create_makes_the_set_that_its_options_describe(self):
        for bad in ('--model=x', '--segment=256', '--center-mode=-1', '--x'):
            self.assertEqual(2, self.run_tool('tvset', 'create', bad)[0], bad)
        options = ('--model=backend', '--segment=84', '--center-mode=7', '--not-ready', '--hal')
        made = self.run_tool('tvset', 'create', *options)
        self.assertEqual((0, f'{self.root}\n', ''), made)
        eeprom = (self.root / 'eeprom.bin').read_bytes()
        self.assertEqual([1, 84, 7], [eeprom[at] for at in (0x1001A, 0x10089, 0x10116)])
        self.assertFalse((self.root / 'fs/data/vendor/tmp/dtv_svc_is_ready').exists())
        self.assertEqual('android.hardware.audio@5.0::IDevicesFactory/default\n',
                         (self.root / 'declared').read_text())
        self.assertEqual('0 0x01 20\n', (self.root / REACTION).read_text())
        keys = {key for path in ROOT.glob('V*/*.cpp')
                for key in re.findall(r'g_audio__\w+', path.read_text())}
        self.assertEqual(keys, set(os.listdir(self.root / 'config')))
        self.assertEqual(1, self.run_tool('tvset', 'create')[0], 'there is one')

    def test_audioctl_tells_what_is_missing(self):
        for words in (['list'], ['status'], ['watch'], ['debug', 'IHdmiAudio'],
                      ['call', 'IHdmiAudio', 'getAudioCapabilities'], ['upload', 'hrtf', __file__]):
            self.assertEqual(2, self.run_tool('audioctl', *words)[0], words)
        self.run_tool('tvset', 'create')
        self.assertEqual((0, '', 'audioctl: no service is registered\n'),
                         self.run_tool('audioctl', 'list'))
        self.assertEqual(2, self.run_tool('audioctl', 'call', 'IHdmiAudio', 'getAudioCapabilities',
                                          '--stay')[0])


if __name__ == '__main__':
    unittest.main()
