# SPDX-License-Identifier: MIT
"""The comment at the head of a program: how it is dispatched, what its buffers and textures hold
before and what they must hold afterwards. README.md shows it.
"""
import itertools
import math
import re
import struct

CODES = {"bool": "?", "char": "b", "uchar": "B", "short": "h", "ushort": "H", "int": "i", "uint": "I",
         "long": "q", "ulong": "Q", "half": "e", "float": "f", "bfloat": "bf"}
FLOATING = ("half", "float", "bfloat")
TOLERANCE = {"float": 1e-6, "half": 1e-3, "bfloat": 8e-3}  # of max(1, |expected|)
CHANNELS = {"r8unorm": (1, "uchar"), "rg8unorm": (2, "uchar"), "rgba8unorm": (4, "uchar"),
            "rgba16float": (4, "half"), "rgba32float": (4, "float"), "depth32float": (1, "float"),
            "r8uint": (1, "uchar"), "r32sint": (1, "int"), "rgba32uint": (4, "uint"),
            "rgba8uint": (4, "uchar"), "r32uint": (1, "uint")}
LANES = "xyzw"


def rounded(code, value):
    """To the nearest value of a floating-point type, as a number."""
    if code == "bf":
        bits = int.from_bytes(struct.pack("<f", rounded("f", value)), "little")
        if math.isnan(value):
            return value
        bits = (bits + 0x7fff + (bits >> 16 & 1)) & 0xffff0000
        return struct.unpack("<f", bits.to_bytes(4, "little"))[0]
    try:
        return struct.unpack("<" + code, struct.pack("<" + code, float(value)))[0]
    except OverflowError:
        return math.copysign(math.inf, value)


def wrapped(code, value):
    bits = 8 * struct.calcsize("<" + code)
    value = int(value) & ((1 << bits) - 1)
    return value - (1 << bits) if code.islower() and value >> (bits - 1) else value


def encode(scalar, value):
    code = CODES[scalar]
    if scalar == "bfloat":
        return struct.pack("<f", rounded(code, value))[2:]
    if scalar in FLOATING:
        return struct.pack("<" + code, rounded(code, value))
    return struct.pack("<" + code, bool(value) if scalar == "bool" else wrapped(code, value))


def decode(scalar, data, offset):
    if scalar == "bfloat":
        return struct.unpack("<f", b"\0\0" + data[offset:offset + 2])[0]
    return struct.unpack_from("<" + ("B" if scalar == "bool" else CODES[scalar]), data, offset)[0]


def sizeOf(scalar):
    return 2 if scalar == "bfloat" else struct.calcsize("<" + CODES[scalar])


class Type:
    """The numbers of an element as (offset, scalar), with its size and alignment in bytes."""

    def __init__(self, text):
        self.numbers = []
        self.isScalar = False
        if text.startswith("{"):
            self.addMembers(text[1:-1].split())
            return
        packed, scalar, lanes = re.fullmatch(r"(packed_)?([a-z]+?)([234]?)", text).groups()
        size = sizeOf(scalar)
        count = int(lanes or 1)
        self.numbers = [(size * k, scalar) for k in range(count)]
        self.size = size * (4 if count == 3 and not packed else count)
        self.alignment = size if packed else self.size
        self.isScalar = count == 1

    def addMembers(self, names):
        offset = 0
        self.alignment = 1
        for part in map(Type, names):
            offset += -offset % part.alignment
            self.numbers += [(offset + at, scalar) for at, scalar in part.numbers]
            self.alignment = max(self.alignment, part.alignment)
            offset += part.size
        self.size = offset + -offset % self.alignment

    def encode(self, value):
        data = bytearray(self.size)
        for (offset, scalar), number in zip(self.numbers, self.parts(value), strict=True):
            data[offset:offset + sizeOf(scalar)] = encode(scalar, number)
        return bytes(data)

    def parts(self, value):
        if self.isScalar and not isinstance(value, (tuple, list)):
            return [value]
        flat = []
        for part in value:
            flat += part if isinstance(part, (tuple, list)) else [part]
        return flat

    def decode(self, data, at):
        numbers = [decode(scalar, data, at + offset) for offset, scalar in self.numbers]
        return numbers[0] if self.isScalar else tuple(numbers)


def differs(scalar, expected, found, tolerance):
    """Tolerance None: exactly the expected number as the type holds it."""
    if scalar not in FLOATING:
        held = int(bool(expected)) if scalar == "bool" else wrapped(CODES[scalar], expected)
        return abs(held - found) > (tolerance or 0)
    if tolerance is None or math.isinf(expected) or math.isnan(expected):
        held = rounded(CODES[scalar], expected)
        return not (held == found or (math.isnan(held) and math.isnan(found)))
    return not abs(expected - found) <= tolerance * max(1.0, abs(expected))


def expressions(kind, text):
    """Before, relation, after, tolerance; an "in" has only the first."""
    if kind == "in":
        return text.removeprefix("= "), None, None, None
    match = re.fullmatch(r"(?:= (.*?))?(?: ?(==|~=) (.*?)(?: within (\S+))?)?", text)
    if match is None:
        raise ValueError(f"what is \"{text}\"?")
    return match.groups()


class Buffer:
    """Elements of one type. `before` and `after` are expressions of the number i of an element, or,
    beginning with "all", of the whole list."""

    def __init__(self, text, name):
        match = re.fullmatch(r"(in|out|inout) (\{[^}]*\}|\w+)\[([^\]]+)\] (.*)", text)
        if match is None:
            raise ValueError(f"what is \"{text}\"?")
        kind, self.type, self.count, contents = match.groups()
        self.before, self.relation, self.after, self.within = expressions(kind, contents)
        self.type = Type(self.type)
        self.name = name

    def prepare(self, names):
        self.count = eval(self.count, names)
        self.before = self.values(self.before, names) if self.before else None
        data = (b"".join(map(self.type.encode, self.before)) if self.before
                else bytes(self.type.size * self.count))
        names["b" + self.name] = [self.type.decode(data, i * self.type.size)
                                  for i in range(self.count)]
        return data

    def values(self, expression, names):
        if expression.startswith("all "):
            result = list(eval(expression[4:], names))
            if len(result) != self.count:
                raise ValueError(f"{len(result)} values for {self.count} elements")
            return result
        code = compile(expression, expression, "eval")
        return [eval(code, {**names, "i": i}) for i in range(self.count)]

    def wrong(self, data, names):
        if self.relation is None:
            return None
        tolerance = float(self.within) if self.within else None
        for i, expected in enumerate(self.values(self.after, names)):
            parts = self.type.parts(expected)
            for k, ((offset, scalar), want) in enumerate(zip(self.type.numbers, parts, strict=True)):
                found = decode(scalar, data, i * self.type.size + offset)
                allowed = tolerance
                if self.relation == "~=" and tolerance is None:
                    allowed = TOLERANCE.get(scalar)
                if differs(scalar, want, found, allowed):
                    part = "" if self.type.isScalar else f" number {k}"
                    return (f"buffer {self.name}[{i}]{part} is {found!r}, and "
                            f"{want!r} was expected: {self.after}")
        return None


class Texture:
    """Texels of a format; expressions of x, y, z (layer, face or depth) and level."""

    def __init__(self, text, name):
        match = re.fullmatch(r"(in|out|inout) (\w+) (\w+) (\d+)(?:x(\d+))?(?:x(\d+))?(?: levels (\d+))?"
                             r" (.*)", text)
        if match is None:
            raise ValueError(f"what is \"{text}\"?")
        self.kind, self.format = match[2], match[3]
        self.size = [int(match[k] or 1) for k in (4, 5, 6)]
        self.levels = int(match[7] or 1)
        self.before, self.relation, self.after, self.within = expressions(match[1], match[8])
        self.name = name

    def places(self):
        for level in range(self.levels):
            width, height = (max(1, extent >> level) for extent in self.size[:2])
            depth = max(1, self.size[2] >> level) if self.kind == "3d" else self.size[2]
            for z, y, x in itertools.product(range(depth), range(height), range(width)):
                yield {"x": x, "y": y, "z": z, "level": level}

    def prepare(self, names):
        count, scalar = CHANNELS[self.format]
        texels = {}
        data = b""
        for place in self.places():
            value = eval(self.before, {**names, **place}) if self.before else (0,) * count
            value = value if isinstance(value, (tuple, list)) else (value,)
            data += b"".join(encode(scalar, part) for part in value)
            texels[tuple(place.values())] = value
        names["t" + self.name] = texels
        return data

    def wrong(self, data, names):
        if self.relation is None:
            return None
        count, scalar = CHANNELS[self.format]
        tolerance = None
        if self.relation == "~=":
            tolerance = float(self.within) if self.within else TOLERANCE.get(scalar, 1)
        for k, place in enumerate(self.places()):
            expected = eval(self.after, {**names, **place})
            expected = expected if isinstance(expected, (tuple, list)) else (expected,)
            for channel, want in zip(range(count), expected, strict=True):
                found = decode(scalar, data, (k * count + channel) * sizeOf(scalar))
                if differs(scalar, want, found, tolerance):
                    return (f"texture {self.name} at {place}, channel {channel} is {found!r}, and "
                            f"{want!r} was expected: {self.after}")
        return None


class Head:
    def __init__(self, text):
        self.names = {name: getattr(math, name) for name in dir(math)
                      if not name.startswith("_") and name != "pow"}
        self.names |= {"math": math}
        for name, code in (("f32", "f"), ("f16", "e"), ("bf16", "bf")):
            self.names[name] = lambda x, code=code: rounded(code, x)
        for bits, code in ((8, "b"), (16, "h"), (32, "i"), (64, "q")):
            self.names[f"i{bits}"] = lambda x, code=code: wrapped(code, x)
            self.names[f"u{bits}"] = lambda x, code=code.upper(): wrapped(code, x)
        self.lines = []
        self.bound = {}
        blocks = []
        for directive, rest in directives(text):
            if directive == "python":
                blocks.append(rest)
            elif directive in ("grid", "run"):
                self.addRun(directive, rest)
            elif directive == "constant":
                self.addConstant(rest)
            elif directive == "sampler":
                self.lines.append(f"sampler {rest.replace(': ', ' ', 1)}")
            elif directive == "argument_buffer":
                index, _, members = rest.partition(": ")
                parts = [self.member(*part.split(" ", 1)) for part in members.split(", ")]
                self.lines.append(f"argument_buffer {index} {' '.join(parts)}")
            else:
                name, _, rest = rest.partition(": ")
                made = Buffer(rest, name) if directive == "buffer" else Texture(rest, name)
                self.bound[directive, name] = made
        for block in blocks:
            exec(block, self.names)
        for (directive, name), bound in self.bound.items():
            data = bound.prepare(self.names).hex()
            about = f"{bound.kind} {bound.format} {size(bound.size)} {bound.levels} " \
                if directive == "texture" else ""
            self.lines.append(f"{directive} {name} {about}{data}")

    def member(self, kind, value):
        return "@" + value if kind == "buffer" else Type(kind).encode(eval(value, self.names)).hex()

    def addRun(self, directive, rest):
        kernel, grid, group = re.fullmatch(r"(?:(\w+) grid )?([\dx]+) group ([\dx]+)", rest).groups()
        if (kernel is None) != (directive == "grid"):
            raise ValueError(f"what is \"{directive} {rest}\"?")
        self.lines.append(f"run {kernel or '-'} {extent(grid)} {extent(group)}")

    def addConstant(self, rest):
        index, scalar, value = re.fullmatch(r"(\d+): (\w+) = (.*)", rest).groups()
        data = Type(scalar).encode(eval(value, self.names))
        self.lines.append(f"constant {index} {scalar} {data.hex()}")

    def requests(self):
        return self.lines

    def compare(self, word, rest):
        name, _, data = rest.partition(" ")
        if (word, name) not in self.bound:
            return None
        return self.bound[word, name].wrong(bytes.fromhex(data), self.names)


def size(numbers):
    return " ".join(map(str, numbers))


def extent(text):
    return size((text.split("x") + ["1", "1"])[:3])


def directives(text):
    """The directives of the comment: their first word and the rest, with the lines that go on."""
    found = []
    lines = itertools.takewhile(lambda line: line.startswith("//"), text.splitlines())
    isCode = False
    for line in lines:
        line = line[2:]
        if line.strip() in ("python", "end"):
            isCode = line.strip() == "python"
            if isCode:
                found.append(["python", ""])
        elif isCode:
            found[-1][1] += line[1:] + "\n"
        elif match := re.fullmatch(r" (grid|run|constant|buffer|texture|sampler|argument_buffer) (.*\d.*)", line):
            found.append([match[1], match[2]])
        elif line.startswith("     ") and found:
            found[-1][1] += " " + line.strip()
    return found


def parse(path):
    return Head(path.read_text())
