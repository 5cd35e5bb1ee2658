#!/usr/bin/env python3
"""Writes the C++ code by which audioctl knows the interfaces: JSON of their types, objects that
record what services call back, and the tables of methods and interfaces.

    generate.py --output FILE --hidl-gen PROGRAM [--root PACKAGE:FOLDER]... INPUT...

The inputs are the files of one package: FOLDER/VERSION/NAME.hal, FOLDER/current.txt. A --root is
another package that they import from. hidl-gen describes them ("-L vts"), in the text form of
protocol buffers.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

# The scalars that have a JSON: their names in a description, and in .hal files and C++.
SCALARS = {name: name for name in ('int8_t', 'uint8_t', 'int16_t', 'uint16_t', 'int32_t',
                                   'uint32_t', 'int64_t')}
SCALARS.update({'bool_t': 'bool', 'float_t': 'float'})


class Unsupported(Exception):
    """The interfaces hold something that audioctl has no form for."""


class Message:
    """A message of a description: the values of each field, in order."""

    def __init__(self, lines):
        self.fields = {}
        for line in lines:
            if line == '}':
                return
            match = re.fullmatch(r'(\w+): (?:"(.*)"|(.*))', line)
            if not match:
                raise Unsupported(f'hidl-gen describes it by {line!r}')
            name, text, word = match.groups()
            value = text if word is None else Message(lines) if word == '{' else word
            self.fields.setdefault(name, []).append(value)

    def all(self, name):
        return self.fields.get(name, [])

    def one(self, name):
        value, = self.fields[name]
        return value


class Type:
    """A type of an argument, a result or a field: as .hal files write it, and as C++ does."""

    def __init__(self, message, package):
        kind = message.one('type')
        self.is_interface = kind in ('TYPE_HIDL_INTERFACE', 'TYPE_HIDL_CALLBACK')
        # C++ passes it by value, and returns such a result; others are handed to a function.
        self.is_scalar = kind in ('TYPE_SCALAR', 'TYPE_ENUM')
        if kind == 'TYPE_SCALAR' and message.one('scalar_type') in SCALARS:
            self.hal = self.cpp = SCALARS[message.one('scalar_type')]
        elif kind == 'TYPE_STRING':
            self.hal, self.cpp = 'string', 'hidl_string'
        elif kind == 'TYPE_VECTOR':
            element = value_type(message.one('vector_value'), package)
            self.hal, self.cpp = f'vec<{element.hal}>', f'hidl_vec<{element.cpp}>'
        elif kind in ('TYPE_STRUCT', 'TYPE_ENUM') or self.is_interface:
            self.cpp = cpp_name(message.one('predefined_type'), package)
            self.hal = self.cpp.split('::')[-1]
        else:
            scalar = message.one('scalar_type') if kind == 'TYPE_SCALAR' else kind
            raise Unsupported(f'no JSON for the type {scalar}')


def value_type(message, package):
    value = Type(message, package)
    if value.is_interface:
        raise Unsupported(f'{value.hal} can only be an argument')
    return value


def cpp_name(name, package):
    """`V3_0::bandEqualizer`"""
    prefix = f"::{package.replace('.', '::')}::"
    if not name.startswith(prefix):
        raise Unsupported(f'{name} is of another package than {package}')
    return name[len(prefix):]


class Method:
    def __init__(self, message, package):
        self.name = message.one('name')
        self.is_inherited = message.one('is_inherited') == 'true'
        self.arguments = [(Type(each, package), each.one('name')) for each in message.all('arg')]
        self.results = [(value_type(each, package), each.one('name'))
                        for each in message.all('return_type_hidl')]
        if len(self.results) > 1:
            raise Unsupported('no JSON for more than one result')


class Interface:
    def __init__(self, description, package):
        self.name = description.one('component_name')
        self.version = tuple(int(description.one(f'component_type_version_{part}'))
                             for part in ('major', 'minor'))
        self.cpp = 'V{}_{}::'.format(*self.version) + self.name
        self.imports = description.all('import')
        self.methods = [about(each.one('name'), Method, each, package)
                        for body in description.all('interface') for each in body.all('api')]
        # hidl-gen, too, knows by this name what only clients serve.
        self.is_service = not self.name.endswith('Callback')

    def extended(self, interfaces):
        """Those that it extends, the nearest first: older versions, which it imports."""
        older = [each for each in reversed(interfaces) if each.name == self.name
                 and each.version < self.version and any(
                     text.endswith('@{}.{}::{}'.format(*each.version, each.name))
                     for text in self.imports)]
        inherited = {each.name for each in self.methods if each.is_inherited}
        if inherited != {each.name for other in older for each in other.own_methods()}:
            raise Unsupported(f'{self.cpp} extends another interface than its older versions')
        return older

    def own_methods(self):
        return [each for each in self.methods if not each.is_inherited]


def about(name, function, *arguments):
    """What a function makes; a complaint names what it was made of."""
    try:
        return function(*arguments)
    except Unsupported as error:
        raise Unsupported(f'{name}: {error}') from error


def structures(message, package):
    """Name and fields of each structure that a message defines, inner ones first."""
    for each in message.all('attribute') + message.all('sub_struct'):
        yield from structures(each, package)
        kind, name = each.one('type'), cpp_name(each.one('name'), package)
        if kind == 'TYPE_STRUCT':
            yield name, [(about(f"{name}.{field.one('name')}", value_type, field, package),
                          field.one('name')) for field in each.all('struct_value')]
        elif kind != 'TYPE_ENUM':  # HIDL's own code knows the names of an enumeration
            raise Unsupported(f'{name}: no JSON for the type {kind}')
    for each in message.all('interface'):
        yield from structures(each, package)


def describe(options):
    """The package's name and the descriptions of its .hal files, the versions in order."""
    files = [file.resolve() for file in options.inputs if file.suffix == '.hal']
    folder = files[0].parents[1]
    package = re.search(r'^package ([\w.]+)@', files[0].read_text(), re.MULTILINE)[1]
    versions = sorted({tuple(map(int, file.parent.name.split('.'))) for file in files})
    command = [options.hidl_gen, '-R', '-p', '.', '-L', 'vts']
    for root in [f'{package}:{folder}'] + options.root:
        command += ['-r', root]
    texts = []
    with tempfile.TemporaryDirectory() as output:
        for version in versions:
            name = '{}@{}.{}'.format(package, *version)
            subprocess.run(command + ['-o', output, name], check=True)
            written = pathlib.Path(output, *package.split('.'), name.split('@')[1])
            texts += [file.read_text() for file in sorted(written.glob('*.vts'))]
    return package, [Message(filter(None, map(str.strip, text.splitlines()))) for text in texts]


def structure_declarations(name):
    return f'''\
template <>
Json toJson(const {name}& value);
template <>
void fromJson(const Json& value, const std::string& type, {name}* result);
'''


def structure_code(name, fields):
    writes = ''.join(f'    json["{field}"] = toJson(value.{field});\n' for _, field in fields)
    reads = ''.join(f'    fields.read("{field}", "{kind.hal}", &result->{field});\n'
                    for kind, field in fields)
    unused = '' if fields else '[[maybe_unused]] '
    return f'''
template <>
Json toJson({unused}const {name}& value) {{
    Json json = Json::object();
{writes}    return json;
}}

template <>
void fromJson(const Json& value, const std::string& type, {unused}{name}* result) {{
    Fields fields(value, type);
{reads}    fields.end();
}}
'''


def recorder(cpp):
    """The name of the class whose objects record the calls of an interface."""
    return 'Recording_' + cpp.replace('::', '_')


def parameter(kind, name):
    """The declaration in a C++ method."""
    return (kind.cpp if kind.is_scalar else f'const {kind.cpp}&') + ' ' + name


def recorder_method(method):
    if method.results:
        raise Unsupported('a callback with a result')
    parameters = ',\n            '.join(parameter(*each) for each in method.arguments)
    for kind, _ in method.arguments:
        if kind.is_interface:
            raise Unsupported(f'no JSON for the type {kind.hal}')
    values = ', '.join(f'toJson({name})' for _, name in method.arguments)
    return f'''\
    Return<void> {method.name}({parameters}) override {{
        return arrived("{method.name}", {{{values}}});
    }}
'''


def recorder_code(interface):
    methods = ''.join(about(f'{interface.cpp}.{each.name}', recorder_method, each)
                      for each in interface.methods)
    return f'''
struct {recorder(interface.cpp)}
    : public Recording<{interface.cpp}> {{
    using Recording::Recording;
{methods}}};
'''


def quoted(parameters):
    return ', '.join(f'{{"{kind.hal}", "{name}"}}' for kind, name in parameters)


def method_row(interface, method):
    """Its local names end with an underscore, so that no argument is called the same."""
    takes = ''.join(
        f'                 const sp<{kind.cpp}> {name} =\n'
        f'                         words_.takeObject<{recorder(kind.cpp)}>();\n'
        if kind.is_interface else
        f'                 const auto {name} = words_.take<{kind.cpp}>();\n'
        for kind, name in method.arguments)
    names = [name for _, name in method.arguments]
    call = f'service_.{method.name}('
    if not method.results:
        body = f'examine({call}{", ".join(names)}));\n{" " * 21}return Json();'
    elif method.results[0][0].is_scalar:
        body = f'return toJson(valueOf({call}{", ".join(names)})));'
    else:
        receive = '[&](const auto& result_) { json_ = toJson(result_); }'
        body = (f'Json json_;\n{" " * 21}examine({call}\n{" " * 29}'
                f'{", ".join(names + [receive])}));\n{" " * 21}return json_;')
    unused = '' if takes else '[[maybe_unused]] '
    return f'''\
            {{"{method.name}",
             {interface.cpp}::descriptor,
             {{{quoted(method.arguments)}}},
             {{{quoted(method.results)}}},
             []({unused}Words& words_) -> Call {{
{takes}                 return [=](IBase& object_) {{
                     auto& service_ = static_cast<{interface.cpp}&>(object_);
                     {body}
                 }};
             }}}},
'''


def interface_row(interface, interfaces):
    chain = [interface] + interface.extended(interfaces)
    descriptors = ',\n              '.join(f'{each.cpp}::descriptor' for each in chain)
    return f'''\
            {{"{interface.name}",
             "{'.'.join(map(str, interface.version))}",
             {{{descriptors}}},
             [] {{ return sp<IBase>({interface.cpp}::getService()); }}}},
'''


def generate(package, descriptions):
    types = [each for message in descriptions for each in structures(message, package)]
    interfaces = [Interface(each, package) for each in descriptions
                  if each.one('component_name') != 'types']
    # By the first version of each, then by its own.
    names = list(dict.fromkeys(each.name for each in interfaces))
    interfaces.sort(key=lambda each: (names.index(each.name), each.version))
    services = [each for each in interfaces if each.is_service]
    passed = {kind.cpp for each in services for method in each.methods
              for kind, _ in method.arguments if kind.is_interface}
    folder = package.replace('.', '/')
    includes = ''.join('#include <{}/{}.{}/{}.h>\n'.format(folder, *map(each.one, (
        'component_type_version_major', 'component_type_version_minor', 'component_name')))
                       for each in descriptions)
    return f'''\
/* Written by host/audioctl/generate.py from the .hal files. */

{includes}
#include "host/audioctl/callbacks.h"
#include "host/audioctl/json.h"
#include "host/audioctl/methods.h"

namespace audioctl {{

using namespace {package.replace('.', '::')};
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;

{''.join(structure_declarations(name) for name, _ in types)}\
{''.join(structure_code(*each) for each in types)}
namespace {{
{''.join(recorder_code(each) for each in interfaces if each.cpp in passed)}
}}  // namespace

const std::vector<Method>& allMethods() {{
    static const std::vector<Method> table{{
{''.join(method_row(each, method) for each in services for method in each.own_methods())}\
    }};
    return table;
}}

const std::vector<Interface>& interfaces() {{
    static const std::vector<Interface> table{{
{''.join(interface_row(each, interfaces) for each in services)}\
    }};
    return table;
}}

}}  // namespace audioctl
'''


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n\n', 1)[0])
    parser.add_argument('--output', required=True, type=pathlib.Path)
    parser.add_argument('--hidl-gen', required=True)
    parser.add_argument('--root', action='append', default=[], metavar='PACKAGE:FOLDER')
    parser.add_argument('inputs', nargs='+', type=pathlib.Path, metavar='INPUT')
    options = parser.parse_args()
    try:
        options.output.write_text(generate(*describe(options)))
    except (Unsupported, subprocess.CalledProcessError) as error:
        sys.exit(f'generate.py: {error}')


if __name__ == '__main__':
    main()
