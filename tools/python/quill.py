"""libquill for Python: a test bench uses it to exchange messages with an access point's processes.

Codec messages. encode makes a message from elements. decode returns a list of elements, which encode also accepts:

    >>> import quill
    >>> message = quill.encode([("mac", "02:00:00:00:00:01"), ("u32", 120), ("str", "printer")])
    >>> message.hex(" ")
    '01 02 00 00 00 00 01 04 00 00 00 78 00 00 07 70 72 69 6e 74 65 72'
    >>> for element in quill.decode(message):
    ...     print(element.offset, element.kind, element.value)
    0 mac 02:00:00:00:00:01
    7 u32 120
    12 str printer
    >>> quill.encode(quill.decode(message)) == message
    True
    >>> quill.decode(b"\\x0e\\xff\\xff\\xff\\xfb")
    Traceback (most recent call last):
    quill.Damage: hex32 at offset 0: Message too long
    >>> quill.fields(message, "station", "vlan", "name")
    {'station': '02:00:00:00:00:01', 'vlan': 120, 'name': 'printer'}

A message from another process may contain any bytes. The exception Damage has the place of the damage:

    >>> quill.decode(message[:-1])
    Traceback (most recent call last):
    quill.Damage: str at offset 12: Message too long
    >>> quill.fields(message, "station", "vlan")
    Traceback (most recent call last):
    quill.Damage: str at offset 12: the message has more elements than names

TLV buffers, by a table of their types:

    >>> station = quill.Tlv({1: "uint", 2: "long", 3: "str", 4: "buf"})
    >>> buffer = station.encode({1: 20, 2: -1, 3: "printer", 4: b"\\1\\2"})
    >>> buffer.hex(" ")
    '00 21 00 01 00 04 00 00 00 14 00 02 00 04 ff ff ff ff 00 03 00 07 70 72 69 6e 74 65 72 00 04 00 02 01 02'
    >>> station.decode(buffer)
    {1: 20, 2: -1, 3: 'printer', 4: b'\\x01\\x02'}

Sets of VLANs, with the operators | - & ~ in and len:

    >>> pool = quill.VlanSet("1-10,20") - quill.VlanSet("5")
    >>> str(pool | quill.VlanSet([30])), len(pool), 5 in pool, list(pool)[-2:]
    ('1-4,6-10,20,30', 10, False, [10, 20])
    >>> str(~quill.VlanSet("1-4000"))
    '4001-4094'

Addresses, versions, digests and disguised texts:

    >>> quill.parse_mac("001a.2b3c.4d5e").hex(":")
    '00:1a:2b:3c:4d:5e'
    >>> quill.parse_version("8.10.0.0-8.10.0.5_12345")
    (8, 10, 0, 0, 8, 10, 0, 5)
    >>> quill.compare_versions("6.4.0.0", "6.5.0.0-8.0.0.0")
    1
    >>> quill.md5(b"abc").hex()
    '900150983cd24fb0d6963f7d28e17f72'
    >>> quill.hmac_md5(b"Jefe", b"what do ya want for nothing?").hex()
    '750c783e6ab0b503eaa86e310a5db738'
    >>> quill.scramble("abc"), quill.unscramble(b"RLT")
    (b'RLT', 'abc')
    >>> quill.escape("a,b*c", ","), quill.unescape("a*\\\\b*Zc", ",")
    ('a*\\\\b*Zc', 'a,b*c')

Every function calls the library, and the library alone decides what is valid. The module loads the libquill.so.1 that
it was installed with, or else the one of the system. Values that are refused raise ValueError; Damage is a subclass of
it. Bytes of a text that are not UTF-8 become surrogates (PEP 383), and are written unchanged.
"""
import ctypes
import errno
import ipaddress
import operator
import os
import pathlib
import threading
import typing

__all__ = ["Damage", "Element", "Tlv", "VlanSet", "compare_versions", "decode", "encode", "escape", "fields",
           "hmac_md5", "md5", "parse_mac", "parse_version", "scramble", "unescape", "unscramble",
           "version_within_range"]


def _load():
    beside = pathlib.Path(__file__).resolve().parent.parent.parent / "libquill.so.1"
    return ctypes.CDLL(str(beside) if beside.exists() else "libquill.so.1", use_errno=True)


_lib = _load()


def _bytes(text):
    return text.encode("utf-8", "surrogateescape")


def _text(data):
    return data.decode("utf-8", "surrogateescape")


def _data(value):
    return bytes(memoryview(value))  # memoryview refuses a number; bytes(5) would be five NULs


def _c_text(text):
    data = _bytes(text) if isinstance(text, str) else _data(text)
    if b"\0" in data:
        raise ValueError("a text has no NUL")
    return data


# --- codec messages

class Damage(ValueError):
    """A message is damaged, or not the expected one. Has the kind, the offset, and error: an errno number or None."""

    def __init__(self, kind, offset, error, text=None):
        super().__init__(f"{kind} at offset {offset}: {text or os.strerror(error)}")
        self.kind, self.offset, self.error = kind, offset, error


class Element(typing.NamedTuple):
    """An element of a message. encode uses its kind and value."""
    kind: str
    value: object
    offset: int


class _IpAf(ctypes.Structure):
    _fields_ = [("family", ctypes.c_uint16), ("zero", ctypes.c_uint8 * 2), ("addr", ctypes.c_uint8 * 16)]


_FAMILIES = {2: (ipaddress.IPv4Address, 4), 10: (ipaddress.IPv6Address, 16)}


def _ip_af(value):
    address = _IpAf()
    if not _lib.validate_and_assign_ip_addr(_c_text(str(value)), ctypes.byref(address)):
        raise ValueError(f"not an IP address: {value}")
    return bytes(address)


def _ip_af_text(data):
    address = _IpAf.from_buffer_copy(data)
    if address.family not in _FAMILIES:
        return data
    form, size = _FAMILIES[address.family]
    plain = not any(address.zero) and not any(address.addr[size:])
    return str(form(bytes(address.addr)[:size])) if plain else data


def _integer(form):
    def pack(value):
        packed = form(value)
        if packed.value != value:
            raise ValueError(f"out of range: {value}")
        return bytes(packed)
    return pack, lambda data: form.from_buffer_copy(data).value, ctypes.sizeof(form)


def _packed(value, size):
    data = _data(value)
    if len(data) != size:
        raise ValueError(f"expected {size} bytes, found {len(data)}")
    return data


_lib.str_to_mac.restype = ctypes.POINTER(ctypes.c_uint8 * 6)
_mac_lock = threading.Lock()  # str_to_mac returns the same buffer every time


def parse_mac(text):
    """Returns the 6 bytes of a MAC address in any usual form."""
    typed = _c_text(text)
    digits = typed[2:] if typed[:2] in (b"0x", b"0X") else typed
    with _mac_lock:
        data = bytes(_lib.str_to_mac(typed).contents)
    # The library returns zeros for a text that is not an address.
    is_zero = digits.translate(None, b":-.").strip(b"0") == b"" and 6 <= digits.count(b"0") <= 12
    if digits.strip(b"0123456789abcdefABCDEF:-.") or not any(data) and not is_zero:
        raise ValueError(f"not a MAC address: {text}")
    return data


def _mac(value):
    return parse_mac(value) if isinstance(value, str) else _packed(value, 6)


# For each kind of a fixed size: a function from value to bytes, one from bytes to value, and the number of bytes. The
# bytes of numbers are in the host's order.
_FIXED = {
    "u8": _integer(ctypes.c_uint8), "u16": _integer(ctypes.c_uint16), "u32": _integer(ctypes.c_uint32),
    "u64": _integer(ctypes.c_uint64), "s32": _integer(ctypes.c_int32),
    "bool": (lambda value: bytes([bool(value)]), lambda data: data == b"\1", 1),
    "mac": (_mac, lambda data: data.hex(":"), 6),
    "ip": (lambda value: ipaddress.IPv4Address(value).packed, lambda data: str(ipaddress.IPv4Address(data)), 4),
    "ipv6": (lambda value: ipaddress.IPv6Address(value).packed, lambda data: str(ipaddress.IPv6Address(data)), 16),
    "ip_af": (lambda value: _packed(value, 20) if isinstance(value, bytes) else _ip_af(value), _ip_af_text, 20),
}
# For each kind that has a length: the name in the checked codec, and whether the kind is a text.
_SIZED = {"str": ("str", True), "hex": ("hex", False), "str3": ("long_str", True), "hex_len32": ("long_hex", False)}
_TAGS = ("str", "mac", "u8", "u16", "u32", "ip", "s32", "bool", "hex", "u64", "ipv6", "ip_af", "str3", "hex_len32",
         "hex32")
_HEADER = 5  # bytes of the longest tag and length, and more than a fixed kind adds to its value


def _encoded(kind, value):
    if kind in _FIXED:
        name, data = kind, _FIXED[kind][0](value)
    elif kind in _SIZED or kind == "hex32":
        name, data = _SIZED.get(kind, (kind, False))[0], _bytes(value) if isinstance(value, str) else _data(value)
    else:
        raise ValueError(f"no kind of element: {kind}")
    message, end = ctypes.create_string_buffer(len(data) + 2 * _HEADER), ctypes.c_uint32(0)
    if kind == "hex32":  # the checked codec has no hex32
        size = _lib.sxdr_write_hex32(data, len(data), message)
        return message.raw[:size]
    write = getattr(_lib, f"sxdr_write_{name}_safe")
    if write(data, len(data), message, len(message), ctypes.byref(end)) < 0:
        raise ValueError(f"{kind}: {os.strerror(ctypes.get_errno())}")
    return message.raw[:end.value]


def encode(elements):
    """Returns the message of the elements. Each element is a kind and a value.

    Kinds are u8, u16, u32, u64, s32, bool, ip, ipv6, ip_af (texts), mac (a text or 6 bytes), str and str3 (texts), hex,
    hex_len32 and hex32 (bytes).
    """
    return b"".join(_encoded(element[0], element[1]) for element in elements)


def _sized(message, kind, cursor):
    name, is_text = _SIZED[kind]
    length = getattr(_lib, f"sxdr_read_{name}_size_safe")(message, len(message), cursor)
    if length < 0:
        return None
    out = ctypes.create_string_buffer(length + 1)
    if getattr(_lib, f"sxdr_read_{name}_safe")(message, len(message), ctypes.byref(cursor), out, len(out)) < 0:
        return None
    data = out.raw[:length]
    return _text(data) if is_text else data


_lib.sxdr_read_hex32_size.restype = ctypes.c_uint32


def _hex32(message, cursor):
    at = cursor.value + _HEADER
    if at > len(message):
        ctypes.set_errno(errno.ENODATA)
        return None
    end = at + _lib.sxdr_read_hex32_size(message[cursor.value:at])
    if end > len(message):
        ctypes.set_errno(errno.EMSGSIZE)
        return None
    cursor.value = end
    return message[at:end]


def _fixed(message, kind, cursor):
    _, unpack, size = _FIXED[kind]
    out = ctypes.create_string_buffer(size)
    read = getattr(_lib, f"sxdr_read_{kind}_safe")
    return unpack(out.raw) if read(message, len(message), ctypes.byref(cursor), out, size) >= 0 else None


def _elements(message):
    cursor = ctypes.c_uint32(0)
    while (offset := cursor.value) < len(message):
        tag = message[offset]
        if tag >= len(_TAGS):
            raise Damage(f"unknown tag {tag}", offset, errno.EBADMSG)
        kind = _TAGS[tag]
        if kind in _FIXED:
            value = _fixed(message, kind, cursor)
        else:
            value = _hex32(message, cursor) if kind == "hex32" else _sized(message, kind, cursor)
        if value is None:
            raise Damage(kind, offset, ctypes.get_errno())
        yield Element(kind, value, offset)


def decode(message):
    """Returns the elements of a message, which may contain any bytes. Raises Damage if the message is damaged."""
    return list(_elements(_data(message)))


def fields(message, *names):
    """Returns a message's values as a dictionary. Also raises Damage if it has more or fewer elements than names."""
    elements = decode(message)
    if len(set(names)) < len(names):
        raise ValueError("two fields of one name")
    if len(elements) > len(names):
        more = elements[len(names)]
        raise Damage(more.kind, more.offset, None, "the message has more elements than names")
    if len(elements) < len(names):
        raise Damage(names[len(elements)], len(message), None, "the message ends before it")
    return {name: element.value for name, element in zip(names, elements)}


# --- TLV buffers

class _Row(ctypes.Structure):
    _fields_ = [("storage", ctypes.c_void_p), ("handler", ctypes.c_void_p), ("size", ctypes.c_uint32),
                ("name", ctypes.c_char_p), ("set", ctypes.c_uint32)]


_lib.tlvget.restype = ctypes.c_void_p
_lib.initTLVLib.argtypes = [ctypes.c_void_p, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32]
_tlv_lock = threading.Lock()  # the library has one table at a time


_NUMBERS = {"uint": _FIXED["u32"], "long": _FIXED["s32"]}


class Tlv:
    """A table of TLV types: {number: "uint", "long", "str" or "buf"}. A text or data may have at most size bytes."""

    def __init__(self, types, size=1024):
        unknown = [kind for kind in types.values() if kind not in ("uint", "long", "str", "buf")]
        if unknown or not types or min(types) < 1 or max(types) > 0xffff:
            raise ValueError(f"types are 1 to 65535, of the kinds uint, long, str and buf: {types}")
        if not 0 <= size <= 0xffff:
            raise ValueError(f"size is 0 to 65535: {size}")
        self._types, self._size, self._count = dict(types), size, max(types) + 1

    def _use(self, sizes):
        """Makes the rows and sets them as the library's table. sizes has the exact size of each buf."""
        self._rows, self._storage = (_Row * self._count)(), {}
        for number, kind in self._types.items():
            size = {"uint": 4, "long": 4, "str": self._size + 1}.get(kind, sizes.get(number, self._size))
            self._storage[number] = ctypes.create_string_buffer(max(size, 1))
            handler = ctypes.cast(getattr(_lib, f"{kind}hdlr"), ctypes.c_void_p)
            self._rows[number] = _Row(ctypes.addressof(self._storage[number]), handler, size, kind.encode(), 0)
        _lib.initTLVLib(None, self._count, None, 0)
        ctypes.c_void_p.in_dll(_lib, "tlvDefn").value = ctypes.addressof(self._rows)
        _lib.tlvreset()

    def _packed(self, number, value):
        kind = self._types.get(number)
        if kind is None:
            raise ValueError(f"no type {number}")
        if kind in _NUMBERS:
            return _NUMBERS[kind][0](value)
        data = _c_text(value) if kind == "str" or isinstance(value, str) else _data(value)
        if len(data) > self._size:
            raise ValueError(f"type {number}: at most {self._size} bytes")
        return data + b"\0" if kind == "str" else data

    def encode(self, values):
        """Returns the buffer with the values, {number: value}."""
        packed = {number: self._packed(number, value) for number, value in values.items()}
        with _tlv_lock:
            self._use({number: len(data) for number, data in packed.items()})
            for number, data in packed.items():
                if not _lib.tlvset(number, data):
                    raise ValueError(f"type {number}: the value was refused")
            # strhdlr needs room for two bytes more than it writes.
            buffer = ctypes.create_string_buffer(4 + sum(4 + len(data) for data in packed.values()))
            used = _lib.settlvBuffer(buffer, len(buffer))
        if used <= 0:
            raise ValueError("the records do not fit in a buffer")
        return buffer.raw[:used]

    def decode(self, buffer):
        """Returns {number: value} of a buffer, which may contain any bytes. Types without a row are skipped."""
        buffer = _data(buffer)
        with _tlv_lock:
            self._use(_lengths(buffer))
            if _lib.readtlvBuffer(buffer, len(buffer)) <= 0:
                raise Damage("TLV buffer", 0, errno.EBADMSG)
            return {number: self._value(number) for number in sorted(self._types) if _lib.tlvisset(number)}

    def _value(self, number):
        kind, data = self._types[number], self._storage[number].raw[:self._rows[number].size]
        if kind in _NUMBERS:
            return _NUMBERS[kind][1](data)
        return _text(data.partition(b"\0")[0]) if kind == "str" else data


def _lengths(buffer):
    """Returns {type: length} of the whole records of a buffer: a buf is read with its exact size."""
    lengths, at = {}, 2
    while at + 4 <= len(buffer):
        kind, length = int.from_bytes(buffer[at:at + 2], "big"), int.from_bytes(buffer[at + 2:at + 4], "big")
        lengths[kind] = length
        at += 4 + length
    return lengths


# --- sets of VLANs

class _Vmap(ctypes.Structure):
    _fields_ = [("words", ctypes.c_uint32 * 128), ("references", ctypes.c_int32), ("text", ctypes.c_char_p)]


_VmapPointer = ctypes.POINTER(_Vmap)
for _name in ("vmap_alloc", "vmap_from_string"):
    getattr(_lib, _name).restype = _VmapPointer
_lib.vmap_to_string.restype = ctypes.c_char_p


class VlanSet:
    """A set of VLAN ids, 1 to 4094, from a range text or from ids. A set never changes."""

    def __init__(self, ids="0"):
        if not isinstance(ids, str):
            numbers = [operator.index(vlan) for vlan in ids]
            if 0 in numbers:
                raise ValueError("not a VLAN: 0")
            ids = ",".join(map(str, numbers)) or "0"
        self._map = _lib.vmap_from_string(_c_text(ids))
        if not self._map:
            raise ValueError(f"not a list of VLANs: {ids}")

    def __del__(self):
        if getattr(self, "_map", None):
            _lib.vmap_free(self._map)

    def _changed(self, change, *arguments):
        result = VlanSet(str(self))
        if not change(ctypes.byref(result._map), *arguments):
            raise MemoryError
        return result

    def __or__(self, other):
        return self._changed(_lib.vmap_merge, other._map) if isinstance(other, VlanSet) else NotImplemented

    def __sub__(self, other):
        return self._changed(_lib.vmap_exclude, other._map) if isinstance(other, VlanSet) else NotImplemented

    def __invert__(self):
        return VlanSet("all") - self

    def __and__(self, other):
        return self - ~other if isinstance(other, VlanSet) else NotImplemented

    def __reduce__(self):  # also for copies: each copy gets its own map
        return VlanSet, (str(self),)

    def __contains__(self, vlan):
        vlan = operator.index(vlan)
        return 1 <= vlan <= 4094 and bool(self._map.contents.words[vlan // 32] >> vlan % 32 & 1)

    def __iter__(self):
        return (vlan for vlan in range(1, 4095) if vlan in self)

    def __len__(self):
        return sum(1 for _ in self)

    def __eq__(self, other):
        return isinstance(other, VlanSet) and _lib.vmap_compare(self._map, other._map) == 0

    def __hash__(self):
        return hash(str(self))

    def __str__(self):
        return _lib.vmap_to_string(self._map).decode()

    def __repr__(self):
        return f"VlanSet('{self}')"


# --- versions

def parse_version(text):
    """Returns the 4 or 8 numbers of a version text."""
    parsed = (ctypes.c_int32 * 8)()
    count = _lib.match_ap_version(_c_text(text), parsed)
    if count == 0:
        raise ValueError(f"not a version: {text}")
    return tuple(parsed[:count])


def compare_versions(r, c):
    """Returns 1 if c is newer than r, -1 if c is older, 0 if they are equal."""
    for text in (r, c):  # for a text that is not a version, the library also returns 1
        parse_version(text)
    kinds = ctypes.c_int(), ctypes.c_int()
    return _lib.compare_r_version_with_c_version(_c_text(r), ctypes.byref(kinds[0]), _c_text(c),
                                                 ctypes.byref(kinds[1]))


def version_within_range(version, lowest, first_above=(0, 0, 0)):
    """Returns whether a version of three numbers is in a range. Without first_above, the range has no upper end."""
    if not len(version) == len(lowest) == len(first_above) == 3:
        raise ValueError("versions have three numbers")
    for number in (*version, *lowest, *first_above):
        _FIXED["s32"][0](number)
    return bool(_lib.version_within_range((ctypes.c_int32 * 6)(*lowest, *first_above), (ctypes.c_int32 * 3)(*version)))


# --- digests and disguised texts

def md5(data):
    """Returns the MD5 digest of bytes."""
    data, digest = _data(data), ctypes.create_string_buffer(16)
    _lib.md5_calc(digest, data, len(data))
    return digest.raw


def hmac_md5(key, data):
    """Returns the HMAC-MD5 of bytes. Key and data must not be empty."""
    key, data, mac = _data(key), _data(data), ctypes.create_string_buffer(16)
    if _lib.calc_hmac_md5(key, len(key), data, len(data), mac) != 0:
        raise ValueError("key and data must not be empty")
    return mac.raw


def scramble(text):
    """Returns the scrambled bytes of a text."""
    data = _c_text(text)
    out = ctypes.create_string_buffer(len(data) + 1)
    length = _lib.scrambleString(data, out)
    return out.raw[:length]


def unscramble(data):
    """Returns the text of scrambled bytes."""
    data = _data(data)
    out = ctypes.create_string_buffer(len(data) + 1)
    length = _lib.unscrambleString(data, out, len(data))
    return _text(out.raw[:length])


def _escaping(function, text, delimiter, size):
    if len(_c_text(delimiter)) != 1:
        raise ValueError(f"a delimiter is one character of ASCII: {delimiter!r}")
    data, out = _c_text(text), ctypes.create_string_buffer(size + 1)
    status = function(data, out, size, ord(delimiter))
    if status not in (0, -2):  # -2: done, there was nothing to do
        raise ValueError(f"cannot be read with the delimiter {delimiter!r}: {text}")
    return _text(out.value)


def escape(text, delimiter):
    """Returns the text with a pair in place of each delimiter, so that the text can be an item of a list."""
    return _escaping(_lib.string_encode, text, delimiter, 2 * len(_bytes(text)) + 1)


def unescape(text, delimiter):
    """Returns the text that escape was called with."""
    return _escaping(_lib.string_decode, text, delimiter, len(_bytes(text)) + 1)
