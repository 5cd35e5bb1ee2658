"""A reader of the platform's build files (Android.bp), as far as this repository uses them."""

import re

from sources import ROOT

TOKEN = re.compile(r'\s+|//[^\n]*|/\*.*?\*/|(?P<string>"(?:[^"\\]|\\.)*")|(?P<word>\w+)'
                   r'|(?P<mark>[{}\[\]:,+])', re.DOTALL)


class Reader:
    def __init__(self, text):
        self.tokens = []
        at = 0
        while at < len(text):
            match = TOKEN.match(text, at)
            if not match:
                raise ValueError(f'cannot read {text[at:at + 20]!r}')
            at = match.end()
            if match.lastgroup:
                self.tokens.append(match[0])

    def next(self, expected=None):
        token = self.tokens.pop(0)
        if expected not in (None, token):
            raise ValueError(f'{token} in place of {expected}')
        return token

    def value(self):
        token = self.next()
        if token == '[':
            return list(self.items(']', self.value))
        if token == '{':
            return dict(self.items('}', self.property))
        value = {'true': True, 'false': False}.get(token, token.strip('"'))
        while self.tokens[0] == '+':
            self.next()
            value += self.value()
        return value

    def property(self):
        name = self.next()
        self.next(':')
        return name, self.value()

    def items(self, end, item):
        while self.tokens[0] != end:
            yield item()
            if self.tokens[0] != end:
                self.next(',')
        self.next(end)


class Module:
    def __init__(self, folder, kind, properties):
        self.folder = folder
        self.kind = kind
        self.properties = properties
        self.name = properties.get('name')

    def get(self, name):
        return self.properties.get(name, [])


def read_modules():
    """All modules of the repository."""
    modules = []
    for path in sorted(ROOT.rglob('Android.bp')):
        if 'build' in path.relative_to(ROOT).parts:
            continue
        reader = Reader(path.read_text())
        while reader.tokens:
            kind = reader.next()
            modules.append(Module(path.parent.relative_to(ROOT).as_posix(), kind, reader.value()))
    return modules


def with_defaults(module, modules):
    """The module's properties, with those of its defaults before its own."""
    merged = {}
    by_name = {each.name: each for each in modules}
    for each in [by_name[name] for name in module.get('defaults')] + [module]:
        for name, value in each.properties.items():
            merged[name] = merged.get(name, []) + value if isinstance(value, list) else value
    return merged
