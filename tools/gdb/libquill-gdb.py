"""libquill's objects in gdb: printers for its containers and records, and the command `info quill`.

gdb loads this file together with the shared object; `source FILE` loads it for a program that is linked with the
archive, or for a core file of another machine.

Numbers and pointers are read as values of gdb's types, so gdb handles byte order and pointer size. A core file of a
device prints on a development machine as it would on the device. The printers call no function of the program.

Memory may be damaged. A walk ends where memory cannot be read, or at a node that it has visited before. A mark such as
<cycle after 12 nodes> then takes the place of the missing part. gdb's `set print elements` limits every walk.
"""
import errno
import itertools
import re
import socket

import gdb
import gdb.printing


class Damage(Exception):
    """Damage in the memory that is read. A walk raises it if the walk cannot continue; otherwise the walk yields it."""


def mark(damage):
    return "<%s>" % damage


def limit():
    """Returns the number of elements to print at most, or None for all."""
    return gdb.parameter("print elements") or None


# --- memory


def unreadable(pointer):
    return Damage("cannot read memory at %#x" % int(pointer))


def target(pointer, type_name=None):
    """Returns the object that a pointer points at, in the pointer's own type or in type_name. Reads the memory at once,
    so that a wild pointer raises Damage here and not while gdb prints."""
    try:
        value = (pointer.cast(gdb.lookup_type(type_name).pointer()) if type_name else pointer).dereference()
        value.fetch_lazy()
        return value
    except gdb.MemoryError:
        raise unreadable(pointer) from None


def memory(pointer, size):
    try:
        return gdb.selected_inferior().read_memory(int(pointer), size).tobytes() if size > 0 else b""
    except gdb.MemoryError:
        raise unreadable(pointer) from None


def octets(array):
    low, high = array.type.range()
    return bytes(int(array[i]) for i in range(low, high + 1))


def elements_at(pointer, count, capacity):
    """Returns the array of count elements. Raises Damage if count is more than capacity."""
    if not 0 <= count <= capacity:
        raise Damage("%d elements in room for %d" % (count, capacity))
    if count == 0:
        return "{}"
    return target(pointer.cast(pointer.type.target().array(count - 1).pointer()))


# --- text of values


MOST_TEXT = 1 << 20


def text(pointer, size=None):
    """Returns a text in quotes, of at most size bytes; without size, of as many bytes as gdb prints elements. The text
    is read in pieces that end at an aligned block, so that none crosses into a page that cannot be read."""
    most = min(size or limit() or MOST_TEXT, MOST_TEXT)
    read = b""
    while len(read) < most and b"\0" not in read:
        at = int(pointer) + len(read)
        read += memory(at, min(64 - at % 64, most - len(read)))
    shown, end, _ = read.partition(b"\0")
    quoted = shown.decode("utf-8", "backslashreplace").replace("\\", "\\\\").replace('"', '\\"')
    quoted = re.sub(r"[\x00-\x1f\x7f]", lambda c: "\\%03o" % ord(c[0]), quoted)
    return '"%s"%s' % (quoted, "" if end or len(read) == size else "...")


def text_or(otherwise, pointer, size=None):
    """Returns the text, or otherwise for a null pointer."""
    return text(pointer, size) if int(pointer) else otherwise


def buffer(pointer, size):
    shown = min(size, limit() or size)
    return memory(pointer, shown).hex(" ") + "..." * (shown < size)


def word(value):
    """Returns a machine word as text: a small number in decimal, a pointer in hexadecimal."""
    number = int(value)
    return "%d" % number if number < 1 << 16 else "%#x" % number


def mac(raw):
    return ":".join("%02x" % byte for byte in raw)


def address(value):
    """Returns an ip_af_addr as text, with a mark if unused bytes are not zero. Look-ups do not find such an address."""
    family, filler, raw = int(value["family"]), octets(value["zero"]), octets(value["addr"])
    size = {2: 4, 10: 16}.get(family)
    if size is None:
        return "no address" if not any(raw) and family == 0 else "family %d: %s" % (family, raw.hex())
    shown = socket.inet_ntop(socket.AF_INET if size == 4 else socket.AF_INET6, raw[:size])
    return shown + (" <unused bytes are not zero>" if any(filler + raw[size:]) else "")


def ranges(numbers):
    """Returns ascending numbers as in 1-10,20. The number of ranges is limited like the elements of an array."""
    runs = []
    for number in numbers:
        if runs and runs[-1][1] == number - 1:
            runs[-1][1] = number
        else:
            runs.append([number, number])
    shown = ["%d" % a if a == b else "%d-%d" % (a, b) for a, b in itertools.islice(runs, limit())]
    return ",".join(shown + ["..."] * (len(shown) < len(runs))) or "none"


def bits(count, words, size):
    """Yields the numbers of the set bits in count words of size bits each."""
    for i, content in zip(range(count), words):
        yield from (i * size + bit for bit in range(size) if content >> bit & 1)


def function_name(pointer):
    """Returns the name of the function that a pointer points to; gdb knows what each machine stores in a pointer."""
    found = re.search(r"<(\w+)(@plt)?(\(.*\))?>$", pointer.format_string(symbols=True))
    return found[1] if found else ""


# --- walks


def marked(items):
    """Yields the items. If damage ends them, it is the last item."""
    try:
        yield from items
    except (Damage, gdb.error) as damage:
        yield Damage(damage)


def sound(items):
    return (item for item in marked(items) if not isinstance(item, Damage))


def chain(first, link="next"):
    met = set()
    node = first
    while int(node) != 0:
        if int(node) in met:
            raise Damage("cycle after %d nodes" % len(met))
        met.add(int(node))
        value = target(node)
        yield value
        node = value[link]


def in_order(root, parent=0, up=None, is_end=lambda node: False):
    """Yields the nodes of a binary tree, ascending. If a subtree cannot be read, yields Damage in its place, and then
    the rest of the tree. up is the name of the field that must be the parent, or None. is_end(node) is true for a node
    that means "no child"."""
    met, path, node = set(), [], root
    while True:
        while int(node) != 0:
            try:
                value = target(node)
                if is_end(value):
                    break
                if int(node) in met:
                    raise Damage("cycle after %d nodes" % len(met))
                met.add(int(node))
            except Damage as damage:
                yield damage
                break
            if up and int(value[up]) != parent:
                yield Damage("%s of node %#x is %#x, not %#x" % (up, int(node), int(value[up]), parent))
            path.append(value)
            node, parent = value["left"], int(node)
        if not path:
            return
        value = path.pop()
        yield value
        node, parent = value["right"], int(value.address)


# --- printers


class Printer:
    """The printer of one type. A subclass has summary() and, if the object has elements, items(), which yields pairs of
    a name and a value, and Damage. The fields distinguish the library's type from another type of the same name."""

    fields = ()

    def __init__(self, value):
        self.value = value

    def to_string(self):
        try:
            return self.summary()
        except (Damage, gdb.error) as damage:
            return mark(damage)

    def size(self):
        """Returns the number of items as text. A long walk ends at the limit. The number is then the count that the
        object stores, if it stores one."""
        found = sum(1 for _ in itertools.islice(sound(self.items()), limit() + 1 if limit() else None))
        claimed = self.claimed_size()
        if limit() is None or found <= limit():
            return "%d" % found + (" (its count says %d)" % claimed if claimed not in (None, found) else "")
        return "more than %d" % limit() if claimed is None else "%d" % claimed

    def claimed_size(self):
        return None


class Container(Printer):
    def children(self):
        for item in marked(self.items()):
            yield ("damage", mark(item)) if isinstance(item, Damage) else item


class Sequence(Container):
    def display_hint(self):
        return "array"


class HashTable(Container):
    fields = ("bucket_count", "buckets", "max_collisions")

    def summary(self):
        name = text_or("without a name", self.value["name"], 64)
        return "hash table %s, elements: %s, buckets: %d" % (name, self.size(), int(self.value["bucket_count"]))

    def claimed_size(self):
        return int(self.value["entries"])  # HashReset does not set it to 0

    def elements(self):
        count = int(self.value["bucket_count"])
        if count < 0:
            raise Damage("%d buckets" % count)
        for bucket in range(count):
            yield from marked(chain(target(self.value["buckets"] + bucket)))

    def items(self):
        for element in self.elements():
            yield element if isinstance(element, Damage) else ("[%s]" % self.key(element), word(element["value"]))

    @staticmethod
    def key(element):
        """Returns the key of an element as text. The unused kinds of key are zero in an element."""
        try:
            if int(element["key_copy"]):
                return text(element["key_copy"])
            if int(element["address"]):
                return address(target(element["address"]))
        except Damage as damage:
            return mark(damage)
        raw = octets(element["key_bytes"])[:6]
        return mac(raw) if any(raw) else word(element["key"])


class List(Sequence):
    fields = ("head", "tail", "cursor", "count")

    def summary(self):
        cursor = int(self.value["cursor"])
        where = ", cursor at the end"
        if cursor:
            nodes = itertools.islice(sound(chain(self.value["head"])), limit())
            at = next((i for i, node in enumerate(nodes) if int(node.address) == cursor), None)
            where = ", cursor at node %#x" % cursor if at is None else ", cursor at [%d]" % at
        return "list, objects: %s%s" % (self.size(), where)

    def claimed_size(self):
        return int(self.value["count"])

    def items(self):
        previous = 0
        for index, node in enumerate(chain(self.value["head"])):
            if int(node["prev"]) != previous:
                yield Damage("prev of node %#x is %#x, not %#x" % (int(node.address), int(node["prev"]), previous))
            previous = int(node.address)
            yield "[%d]" % index, node["objPtr"]
        if int(self.value["tail"]) != previous:
            yield Damage("tail is %#x, not %#x" % (int(self.value["tail"]), previous))


class AvlTree(Container):
    """The printer of both AVL trees. Their nodes are also linked in a ring through the tree record."""

    fields = ("head", "compare")
    KEYS = {
        "string": text,
        "string_ic": text,
        "u32": lambda key: "%d" % int(target(key, "unsigned int")),
        "mac_addr": lambda key: mac(memory(key, 6)),
        "ipv6": lambda key: socket.inet_ntop(socket.AF_INET6, memory(key, 16)),
        "ipaddr": lambda key: address(target(key, "ip_af_addr")),
    }

    def summary(self):
        return "AVL tree by %s, nodes: %s" % (function_name(self.value["compare"]) or "an unknown order", self.size())

    def items(self):
        head = self.value["head"]
        previous = head
        for node in in_order(head["right"], int(head.address), "parent"):
            if isinstance(node, Damage):
                yield node
                continue
            yield from self.unthreaded(previous, node)
            previous = node
            yield "[%s]" % self.key_text(node), self.object(node)
        yield from self.unthreaded(previous, head)

    @staticmethod
    def unthreaded(node, following):
        if int(node["next"]) != int(following.address):
            yield Damage("next of node %#x is %#x, not %#x" %
                         (int(node.address), int(node["next"]), int(following.address)))

    def key_text(self, node):
        kind = re.fullmatch(r"savle?_(\w+)_compare", function_name(self.value["compare"]))
        key = self.key(node)
        try:
            return self.KEYS[kind[1]](key) if kind and kind[1] in self.KEYS else "%#x" % int(key)
        except Damage as damage:
            return mark(damage)

    def key(self, node):
        return node["key"]

    def object(self, node):
        return node.address


class EmbeddedAvlTree(AvlTree):
    fields = ("head", "compare", "link_offset", "key_offset")

    def key(self, node):
        return self.object(node) + int(self.value["key_offset"])

    def object(self, node):
        bytes_of_it = node.address.cast(gdb.lookup_type("char").pointer())
        return (bytes_of_it - int(self.value["link_offset"])).cast(gdb.lookup_type("void").pointer())


class KeyTree(Sequence):
    """A tree whose nodes have a pointer to the key."""

    def items(self):
        for node in self.nodes():
            yield node if isinstance(node, Damage) else ("", node["key"])


class RedBlackTree(KeyTree):
    fields = ("compare", "config", "root")

    def summary(self):
        return "red-black tree by %s, keys: %s" % (function_name(self.value["compare"]) or "an unknown order",
                                                   self.size())

    @staticmethod
    def is_end(node):
        """rb_null is the only node that is its own child on both sides; its up field changes."""
        return int(node["left"]) == int(node["right"]) == int(node.address) and int(node["key"]) == 0

    def nodes(self):
        root = self.value["root"]
        parent = 0 if int(root) == 0 or self.is_end(target(root)) else int(target(root)["up"])
        for node in in_order(root, parent, "up", self.is_end):
            if not isinstance(node, Damage) and int(node["colour"]) > 1:
                yield Damage("colour of node %#x is %d" % (int(node.address), int(node["colour"])))
            yield node


class BinaryTree(KeyTree):
    """A node, with the tree below it: the root represents the tree."""

    fields = ("key", "left", "right")

    def summary(self):
        return "binary search tree, keys: %s" % self.size()

    def nodes(self):
        return in_order(self.value.address)


class VlanSet(Printer):
    fields = ("words", "references", "text")

    def summary(self):
        words = self.value["words"]
        ids = list(bits(128, (int(words[i]) for i in range(128)), 32))
        references = int(self.value["references"])
        shown = "VLANs %s, references: %d" % (ranges(ids), references)
        return shown if references > 0 else shown + " <freed or damaged>"


class IndexTable(Printer):
    fields = ("first", "last", "summary")

    def summary(self):
        first, last, level = (int(self.value[field]) for field in self.fields)
        count, step = abs(last - first) + 1, 1 if first <= last else -1
        if count > 4096:
            raise Damage("indices %d to %d: more than 4096" % (first, last))
        buckets = self.value["summary"].address + 1
        free = [int(target(buckets + i)) for i in range((count + 63) // 64)]
        used = sorted(first + step * offset for offset in set(range(count)) - set(bits(len(free), free, 64)))
        shown = "indices %d to %d, in use: %s" % (first, last, ranges(used))
        with_free = sum(1 << i for i, bucket in enumerate(free) if bucket)
        agree = level == with_free and free[-1] < 1 << (count - 1) % 64 + 1
        return shown if agree else shown + " <summary and buckets do not agree>"


class TlvRow(Printer):
    fields = ("storage", "handler", "size", "name", "set")
    VALUES = {
        "uinthdlr": lambda at, size: "%d" % int(target(at, "unsigned int")),
        "longhdlr": lambda at, size: "%d" % int(target(at, "int")),
        "strhdlr": text,
        "bufhdlr": buffer,
    }

    def summary(self):
        if int(self.value["handler"]) == 0:
            return "unused"
        handler, storage = function_name(self.value["handler"]), self.value["storage"]
        name = text_or("field without a name", self.value["name"])
        if not int(self.value["set"]):
            return "%s, not set" % name
        if int(storage) == 0 or handler not in self.VALUES:
            return "%s at %#x, %s" % (name, int(storage), handler or "unknown handler")
        return "%s: %s" % (name, self.VALUES[handler](storage, int(self.value["size"])))


class Search(Container):
    fields = ("object_count", "match_any", "search", "sort", "page_start")

    def summary(self):
        return "search, objects: %d, results: %d of %d from %d" % tuple(
            int(self.value[field]) for field in ("object_count", "result_count", "total", "page_start"))

    def items(self):
        yield "criteria", self.pairs("search") + (" (any)" if int(self.value["match_any"]) else "")
        yield "sort", self.pairs("sort")
        for array, kind in (("objects", "object"), ("results", "result")):
            count, capacity = int(self.value[kind + "_count"]), int(self.value[kind + "_capacity"])
            try:
                yield array, elements_at(self.value[array], count, capacity)
            except Damage as damage:
                yield array, mark(damage)

    def pairs(self, field):
        count = int(self.value[field + "_words"])
        if count > 32:
            return mark("%d words in room for 32" % count)
        try:
            words = [text_or("<no memory>", self.value[field][i]) for i in range(count)]
        except Damage as damage:
            return mark(damage)
        return ", ".join(" ".join(pair) for pair in zip(words[::2], words[1::2])) or "none"


class Message(Printer):
    """A reader or a writer of a message. Its bytes are in a form that quill decode --hex reads."""

    def summary(self):
        offset, done, error = (int(self.value[field]) for field in ("offset", "next", "error"))
        room = int(self.value[self.fields[1]])
        if done > room:
            raise Damage("%d bytes in room for %d" % (done, room))
        shown = self.progress % (done, room)
        if error or done:
            name = text_or("element without a name", self.value["what"])
            state = "refused: " + errno.errorcode.get(error, "error %d" % error) if error else "done"
            shown += ", %s at offset %d %s" % (name, offset, state)
        message = buffer(self.value["message"], room if self.is_read else done)
        return "%s, bytes: %s" % (shown, message or "none")


class Reader(Message):
    fields = ("message", "length", "offset", "next", "error", "what")
    progress, is_read = "message, read: %d of %d bytes", True


class Writer(Message):
    fields = ("message", "size", "offset", "next", "error", "what")
    progress, is_read = "message, written: %d bytes in room for %d", False


class Md5(Printer):
    fields = ("state", "count", "buffer")

    def summary(self):
        low, high = int(self.value["count"][0]), int(self.value["count"][1])
        size = (high << 32 | low) // 8
        state = " ".join("%08x" % int(self.value["state"][i]) for i in range(4))
        waiting = octets(self.value["buffer"])[:size % 64].hex(" ")
        return "MD5 of %d bytes so far, state %s, buffer %s" % (size, state, waiting or "empty")


class Address(Printer):
    fields = ("family", "zero", "addr")

    def summary(self):
        return address(self.value)


PRINTERS = {
    "sHash": HashTable,
    "sList": List,
    "savl_tree": AvlTree,
    "savle_tree": EmbeddedAvlTree,
    "rb_tree": RedBlackTree,
    "btree": BinaryTree,
    "vmap": VlanSet,
    "idx_table": IndexTable,
    "tlv_row": TlvRow,
    "smss_ctx": Search,
    "quill_reader": Reader,
    "quill_writer": Writer,
    "md5_context": Md5,
    "ip_af_addr": Address,
}


class Lookup(gdb.printing.PrettyPrinter):
    def __call__(self, value):
        kind = value.type.strip_typedefs().unqualified()
        printer = PRINTERS.get(kind.tag) if kind.code == gdb.TYPE_CODE_STRUCT else None
        return printer(value) if printer and set(printer.fields) <= set(kind.keys()) else None


# --- info quill


def log_variable(name):
    """Returns a variable of the log client's source file. Other files have variables of the same name."""
    for symbol in gdb.lookup_static_symbols("(anonymous namespace)::" + name):
        if symbol.symtab.filename.endswith("syslog.cpp"):
            return symbol.value()
    raise Damage("no %s in the log client" % name)


def scalar(value):
    """Returns the number in a std::atomic of any C++ library."""
    while value.type.strip_typedefs().code == gdb.TYPE_CODE_STRUCT:
        value = value[next(field for field in value.type.strip_typedefs().fields() if hasattr(field, "bitpos"))]
    return int(value)


class InfoQuill(gdb.Command):
    """Show what libquill holds in this process: hash tables, the client of the system log, the pool of VLANs.

Usage: info quill

Hash tables are those that hash_get_stats reports, the first 64. "collisions" is the most elements beyond the first that
any one bucket has held since the last HashReset. A VLAN's users are those that vlan_alloc_update counts.

`print *OBJECT` shows a table, list, tree, VLAN set or another object of libquill with its content.
`set print elements N` limits both commands. `print/r *OBJECT` shows its fields instead."""

    def __init__(self):
        super().__init__("info quill", gdb.COMMAND_STATUS)

    def invoke(self, argument, from_tty):
        missing = self.missing()
        if missing:
            print("info quill: " + missing)
            return
        for section in (self.hash_tables, self.log, self.vlans):
            for line in marked(section()):
                print("  " + mark(line) if isinstance(line, Damage) else line)

    @staticmethod
    def missing():
        if gdb.selected_thread() is None:
            return "there is no process: start one, attach to it, or open its core file"
        try:
            gdb.parse_and_eval("(long)&hash_table_list")
        except gdb.error:
            return "the program has no libquill"
        try:
            if gdb.lookup_type("sHashElem").strip_typedefs().fields():
                return None
        except gdb.error:
            pass
        return "this libquill has no debug information: install libquill1-dbgsym, or build it with -g"

    @staticmethod
    def hash_tables():
        tables = gdb.parse_and_eval("hash_table_list")
        nodes = list(itertools.islice(marked(chain(target(tables)["head"])), 65)) if int(tables) else []
        yield "hash tables: %d" % sum(not isinstance(node, Damage) for node in nodes)
        if nodes:
            yield "  %10s %10s %10s  name" % ("elements", "buckets", "collisions")
        for node in nodes:
            yield node if isinstance(node, Damage) else InfoQuill.statistics(node["objPtr"])

    @staticmethod
    def statistics(table):
        try:
            record = target(table, "sHash")
            counts = tuple(int(record[field]) for field in ("entries", "bucket_count", "max_collisions"))
            name = text_or("(being created, or destroyed by HashDestroyIpAf)", record["name"], 64)
            return "  %10d %10d %10d  %s" % (counts + (name,))
        except Damage as damage:
            return damage

    @staticmethod
    def log():
        state = log_variable("state")
        connected = "socket %d, %sconnected" % (int(state["socket"]), "" if state["connected"] else "not ")
        yield "system log: %s" % (connected if int(state["socket"]) != -1 else "closed; the next message opens it")
        yield "  identity %s, options %#x, facility %d" % (text(state["identity"], 256), int(state["options"]),
                                                           int(state["facility"]) >> 3)
        role = {-1: "not read yet", 1: "mesh point: messages are dropped while the daemon is busy"}
        yield "  level mask %#x, mesh role %s" % (scalar(log_variable("level_mask")),
                                                  role.get(int(state["mesh_role"]), int(state["mesh_role"])))

    @staticmethod
    def vlans():
        pool = gdb.parse_and_eval("vlanPool_usage_hash_table")
        if int(pool) == 0:
            yield "VLAN pool: not in use"
            return
        table = HashTable(target(pool))
        yield "VLAN pool: %s" % table.size()
        for element in itertools.islice(table.elements(), limit()):
            yield element if isinstance(element, Damage) else "  VLAN %d, users: %d" % (
                int(element["key"]), int(element["value"]) - 1)


InfoQuill()
gdb.printing.register_pretty_printer(gdb.current_objfile(), Lookup("libquill"), replace=True)
