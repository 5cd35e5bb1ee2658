"""What the checks need to know of the service's sources."""

import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGE = 'com.zavo.dtv.hardware.audio'


def read(path):
    return (ROOT / path).read_text()


def service_sources():
    """The C++ files of the service, and their texts without comments."""
    files = [path for folder in ('service', 'platform', 'V*_*')
             for path in sorted(ROOT.glob(f'{folder}/*')) if path.suffix in ('.cpp', '.h')]
    return {path.relative_to(ROOT).as_posix():
            re.sub(r'/\*.*?\*/|//[^\n]*', '', path.read_text(), flags=re.DOTALL)
            for path in files}


def paths():
    """The paths of the set that the service uses: the name of the constant, and the path."""
    text = '\n'.join(service_sources().values())
    named = dict(re.findall(r'constexpr char (\w+)\[\]\s*=\s*"(/[^"]*)";', text))
    literals = re.findall(r'"(/[^"]*)"', text)
    assert sorted(literals) == sorted(named.values()), 'a path without a constant of its own'
    return named


def versions():
    """The versions of the package, each of which has a folder."""
    return sorted(path.name for path in ROOT.glob('interfaces/[0-9]*.[0-9]*'))


def served():
    """What the service registers: for each interface its versions, those that it extends too."""
    chains = {}
    for major, minor, interface in re.findall(r'service<V(\d+)_(\d+)::(\w+),',
                                              service_sources()['service/service.cpp']):
        chain = [f'{major}.{minor}']
        while True:
            hal = read(f'interfaces/{chain[-1]}/{interface}.hal')
            parent = re.search(rf'^interface {interface} extends @([\d.]+)::{interface} ', hal,
                               flags=re.MULTILINE)
            if not parent:
                break
            chain.append(parent[1])
        chains[interface] = chain
    return chains
