-- quill.lua: Wireshark's dissector for libquill's codec messages and TLV buffers.
--
-- Wireshark and tshark load this file from a folder of plugins (Help, About Wireshark, Folders). They then show the
-- captures of `quill decode --pcap`, `quill listen --pcap` and `quill tlv --pcap` (link types USER0 and USER1), and
-- messages over UDP. Each protocol has its UDP ports as a preference, and "Decode As" sets the protocol for one
-- conversation.
--
-- Filters: quill.mac == 00:1b:63:aa:bb:cc, quill.str contains "wlan", quill.vlan == 20, quill.damage. quill.vlan
-- matches each id in a set of VLANs. It also matches each number with the name vlan in the preference "Names of
-- elements".

-- --- what both protocols share

-- Wireshark's own names of the link types.
local kUser0, kUser1 = 45, 46

local function experts_of(filter)
    return {
        damage = ProtoExpert.new(filter .. ".expert.damage", "Damage", expert.group.MALFORMED, expert.severity.ERROR),
        cut = ProtoExpert.new(filter .. ".expert.cut", "The capture has only the first bytes",
            expert.group.UNDECODED, expert.severity.NOTE),
    }
end

-- Describes damage: the bytes at an offset are not the expected ones.
local function damaged(offset, expected, found)
    return {offset = offset, text = string.format("offset %d: expected %s, found %s", offset, expected, found)}
end

-- Shows the damage. If the capture has only the first bytes of the packet, shows that instead.
local function show_damage(damage, tvb, tree, field, experts)
    if tvb:reported_len() > tvb:len() then
        tree:add_proto_expert_info(experts.cut)
    else
        local rest = tvb(damage.offset, tvb:len() - damage.offset)
        tree:add(field, rest, damage.text):add_proto_expert_info(experts.damage, damage.text)
    end
end

-- Returns whether the text is UTF-8 (RFC 3629). The limits of the second byte depend on the first byte.
local function is_utf8(text)
    local at = 1
    while at <= #text do
        local first, second = text:byte(at, at + 1)
        local more = first < 0x80 and 0 or first < 0xc2 and 4 or first < 0xe0 and 1 or first < 0xf0 and 2 or 3
        local least = first == 0xe0 and 0xa0 or first == 0xf0 and 0x90 or 0x80
        local most = first == 0xed and 0x9f or first == 0xf4 and 0x8f or 0xbf
        if first > 0xf4 or more > 3 then return false end
        if more > 0 and (not second or second < least or second > most) then return false end
        for i = 2, more do
            if not text:find("^[\128-\191]", at + i) then return false end
        end
        at = at + 1 + more
    end
    return true
end

-- Registers the protocol for the packets of a link type, and for datagrams from and to the ports that the user sets.
local function bind(proto, link_type)
    local udp, bound = DissectorTable.get("udp.port"), ""
    proto.prefs.ports = Pref.range("UDP ports", "", "Ports whose datagrams are dissected", 65535)
    function proto.prefs_changed()
        if bound ~= "" then udp:remove(bound, proto) end
        bound = proto.prefs.ports
        if bound ~= "" then udp:add(bound, proto) end
    end
    udp:add_for_decode_as(proto)
    DissectorTable.get("wtap_encap"):add(link_type, proto)
end

-- --- codec messages

local kNames = {[0] = "str", "mac", "u8", "u16", "u32", "ip", "s32", "bool", "hex", "u64", "ipv6", "ip_af", "str3",
    "hex_len32", "hex32"}
local kIpv4, kIpv6 = 2, 10

local message = Proto("quill", "libquill message")
local fields = {
    element = ProtoField.none("quill.element", "Element"),
    tag = ProtoField.uint8("quill.tag", "Tag", base.DEC, kNames),
    name = ProtoField.string("quill.name", "Name"),
    length = ProtoField.uint32("quill.length", "Length"),
    str = ProtoField.string("quill.str", "Text"),
    mac = ProtoField.ether("quill.mac", "MAC address"),
    u8 = ProtoField.uint8("quill.u8", "Number"),
    u16 = ProtoField.uint16("quill.u16", "Number"),
    u32 = ProtoField.uint32("quill.u32", "Number"),
    u64 = ProtoField.uint64("quill.u64", "Number"),
    s32 = ProtoField.int32("quill.s32", "Number"),
    bool = ProtoField.uint8("quill.bool", "Bool", base.DEC, {[0] = "false", [1] = "true"}),
    ip = ProtoField.ipv4("quill.ip", "IPv4 address"),
    ipv6 = ProtoField.ipv6("quill.ipv6", "IPv6 address"),
    family = ProtoField.uint16("quill.family", "Address family", base.DEC, {[kIpv4] = "IPv4", [kIpv6] = "IPv6"}),
    hex = ProtoField.bytes("quill.hex", "Data"),
    set = ProtoField.string("quill.vlans", "Set of VLANs"),
    vlan = ProtoField.uint16("quill.vlan", "VLAN"),
    damage = ProtoField.string("quill.damage", "Damage"),
}
local experts = experts_of("quill")
message.fields = fields
message.experts = experts
local function uint(tvb, at, size) return tvb(at, size):uint() end

-- Each of these functions adds the value in a range to the tree, and returns the value as a text. The range begins
-- after an element's tag, or after its length if it has one.

local function hex_of(range, separator)
    return (tostring(range:bytes()):lower():gsub("%x%x", "%0" .. separator):sub(1, -1 - #separator))
end

local function add_text(tree, range)
    tree:add_packet_field(fields.str, range, ENC_UTF_8)
    local text = range:raw()
    return is_utf8(text) and '"' .. text:gsub("%c", "?") .. '"' or hex_of(range, "")
end

local function add_hex(tree, range)
    tree:add(fields.hex, range)
    local most = 24
    if range:len() <= most then return hex_of(range, "") end
    return hex_of(range(0, most), "") .. "..."
end

local function adder_of(field, method)
    return function(tree, range)
        tree:add(field, range)
        return tostring(range[method](range))
    end
end

-- Does not use the method for Ethernet addresses, because its text names the maker of the network card.
local function add_mac(tree, range)
    tree:add(fields.mac, range)
    return hex_of(range, ":")
end

local function add_s32(tree, range)
    local number = range(4, 4):uint()
    if range(2, 1):uint() == 1 then number = -number end
    number = (number + 2147483648) % 4294967296 - 2147483648  -- in two's complement
    tree:add(fields.s32, range, number)
    return string.format("%.0f", number)
end

local function add_bool(tree, range)
    local byte = range(1, 1)
    tree:add(fields.bool, byte)
    return ({[0] = "false", [1] = "true"})[byte:uint()] or tostring(byte:uint())
end

-- If the family is neither IPv4 nor IPv6, the value is all bytes. The same holds if the bytes after an IPv4 address are
-- not zero.
local function add_ip_af(tree, range)
    local family, address = range(0, 2):uint(), range(4, 16)
    tree:add(fields.family, range(0, 2))
    if family == kIpv6 then
        tree:add(fields.ipv6, address)
        return tostring(address:ipv6())
    end
    local ipv4, rest = address(0, 4), hex_of(address(4, 12), "")
    if family ~= kIpv4 or rest:find("[^0]") then return add_hex(tree, address) end
    tree:add(fields.ip, ipv4)
    return tostring(ipv4:ipv4())
end

-- For each tag: size is the number of bytes of the fixed part, with the tag. counted is the number of bytes of the
-- length, for texts and data. add is the function that adds the value. inside has the tags of the elements inside, by
-- their offsets.
local kKinds = {
    [0] = {size = 3, counted = 2, add = add_text},
    {size = 7, add = add_mac},
    {size = 2, add = adder_of(fields.u8, "uint")},
    {size = 3, add = adder_of(fields.u16, "uint")},
    {size = 5, add = adder_of(fields.u32, "uint")},
    {size = 5, add = adder_of(fields.ip, "ipv4")},
    {size = 9, add = add_s32, inside = {[1] = 7, [2] = 2, [4] = 4}},
    {size = 3, add = add_bool, inside = {[1] = 2}},
    {size = 3, counted = 2, add = add_hex},
    {size = 9, add = adder_of(fields.u64, "uint64")},
    {size = 17, add = adder_of(fields.ipv6, "ipv6")},
    {size = 21, add = add_ip_af},
    {size = 5, counted = 4, add = add_text},
    {size = 5, counted = 4, add = add_hex},
    {size = 5, counted = 4, add = add_hex},
}

-- Returns the element at an offset before the end, or nil and the damage.
local function read_element(tvb, at)
    local tag, left = uint(tvb, at, 1), tvb:len() - at
    local kind, name = kKinds[tag], kNames[tag]
    if not kind then return nil, damaged(at, "a tag from 0 to 14", string.format("0x%02x", tag)) end
    if left < kind.size then return nil, damaged(at, kind.size .. " bytes of " .. name, left .. " left") end
    for offset, inner in pairs(kind.inside or {}) do
        if uint(tvb, at + offset, 1) ~= inner then
            return nil, damaged(at, "whole elements inside " .. name, "one of another kind")
        end
    end
    local count = kind.counted and uint(tvb, at + 1, kind.counted) or 0
    if left - kind.size < count then
        return nil, damaged(at, string.format("%.0f bytes in %s", count, name), left - kind.size .. " left")
    end
    return {at = at, kind = kind, kind_name = name, count = count, size = kind.size + count}
end

local function show_element(element, tvb, tree)
    local kind, at = element.kind, element.at
    local item = tree:add(fields.element, tvb(at, element.size))
    local head = kind.counted and kind.size or 1
    item:add(fields.tag, tvb(at, 1))
    if kind.counted then item:add(fields.length, tvb(at + 1, kind.counted)) end
    element.text = kind.add(item, tvb(at + head, element.size - head))
    element.item = item
    item:set_text(string.format("%s: %s", element.kind_name, element.text))
end

-- Shows and returns the elements up to the end, or up to the damage; then returns the damage or nil.
local function show_elements(tvb, tree)
    local elements, at = {}, 0
    while at < tvb:len() do
        local element, damage = read_element(tvb, at)
        if not element then return elements, damage end
        show_element(element, tvb, tree)
        elements[#elements + 1] = element
        at = at + element.size
    end
    return elements, nil
end

-- --- names of elements, as the user gives them

message.prefs.names = Pref.string("Names of elements", "",
    "As quill decode --names takes them: event,mac,vlan; \"...\" after the last name is for all elements to come. " ..
    "For messages of several kinds, lists by the value of the first element: 1: event,mac,vlan; *: event")

local function trimmed(text) return text:match("^%s*(.-)%s*$") end

-- Returns the names for a message with that first element, or nil.
local function list_of_names(first)
    for entry in message.prefs.names:gmatch("[^;]+") do
        local value, list = entry:match("^(.*):(.-)$")
        if not value then return entry end
        if trimmed(value) == "*" or (first and trimmed(value) == first.text) then return list end
    end
    return nil
end

local function name_element(element, name, tvb)
    local range = tvb(element.at, element.size)
    element.item:prepend_text(name .. ", ")
    element.item:add(fields.name, range, name):set_generated()
    if name == "vlan" and element.kind_name:match("^u%d") then
        element.item:add(fields.vlan, range, tonumber(element.text) % 65536):set_generated()
    end
end

-- Names the elements. Returns the damage if the message has more or fewer elements than names, otherwise nil.
local function name_elements(elements, tvb)
    if message.prefs.names == "" then return nil end
    local list, names = list_of_names(elements[1]), {}
    if not list then
        return damaged(0, "a first element that has names", #elements > 0 and "another" or "none")
    end
    for name in list:gmatch("[^,]+") do names[#names + 1] = trimmed(name) end
    local repeated = (names[#names] or ""):match("^(.*)%.%.%.$")
    local single = repeated and #names - 1 or #names
    for i, element in ipairs(elements) do
        local name = i <= single and names[i] or repeated
        if not name then return damaged(element.at, "the end", element.kind_name) end
        name_element(element, name, tvb)
    end
    if #elements < single then return damaged(tvb:len(), names[#elements + 1], "the end") end
    return nil
end

-- --- sets of VLANs: a bool, and a text for true, 128 words for false

local kWords, kLongestSet = 128, 639
local kMostVlans = 8192  -- per message, so that a message with many sets does not use too much memory

-- Returns the ids in the text of a set, or nil if the text is not a set.
local function parse_set(text)
    if text == "0" then return {} end
    if text:lower() == "all" then text = "1-4094" end
    local ids, seen = {}, {}
    for item in (text .. ","):gmatch("([^,]*),") do
        local first, last = item:match("^(%d+)%-(%d+)$")
        first, last = tonumber(first or item:match("^%d+$")), tonumber(last or item:match("^%d+$"))
        if not first or first < 1 or last < first or last > 4094 then return nil end
        for id = first, last do
            if not seen[id] then ids[#ids + 1] = id end
            seen[id] = true
        end
    end
    table.sort(ids)
    return ids
end

local function text_of_ids(ids)
    local ranges, i = {}, 1
    while i <= #ids do
        local last = i
        while ids[last + 1] == ids[last] + 1 do last = last + 1 end
        ranges[#ranges + 1] = last > i and ids[i] .. "-" .. ids[last] or tostring(ids[i])
        i = last + 1
    end
    return #ranges > 0 and table.concat(ranges, ",") or "0"
end

-- Returns the ids of the set that begins with a bool, and the number of its elements after the bool. Returns nil if the
-- elements are not a set.
local function read_set(elements, first, tvb)
    local how, text = elements[first].text, elements[first + 1]
    if how == "true" and text and text.kind_name == "str" and text.count > 0 and text.count <= kLongestSet then
        return parse_set(tvb(text.at + 3, text.count):string()), 1
    end
    if how ~= "false" or not elements[first + kWords] then return nil end
    local ids = {}
    for i = 0, kWords - 1 do
        local word = elements[first + 1 + i]
        if word.kind_name ~= "u32" then return nil end
        local bits = uint(tvb, word.at + 1, 4)
        for bit = 0, 31 do
            if bits % 2 == 1 then ids[#ids + 1] = 32 * i + bit end
            bits = math.floor(bits / 2)
        end
    end
    return ids, kWords
end

local function show_sets(elements, tvb)
    local shown = 0
    for i, element in ipairs(elements) do
        local ids, count
        if element.kind_name == "bool" then ids, count = read_set(elements, i, tvb) end
        if ids then
            local last = elements[i + count]
            local range = tvb(element.at, last.at + last.size - element.at)
            element.item:add(fields.set, range, text_of_ids(ids)):set_generated()
            for _, id in ipairs(ids) do
                shown = shown + 1
                if shown > kMostVlans then return end
                element.item:add(fields.vlan, range, id):set_generated()
            end
        end
    end
end

function message.dissector(tvb, pinfo, root)
    pinfo.cols.protocol = "quill"
    local tree = root:add(message, tvb())
    local elements, damage = show_elements(tvb, tree)
    damage = damage or name_elements(elements, tvb)
    show_sets(elements, tvb)
    local texts = {}
    for i = 1, math.min(#elements, 16) do texts[i] = elements[i].text end
    pinfo.cols.info = table.concat(texts, ", ") .. (#elements > 16 and ", ..." or "")
    if damage then
        show_damage(damage, tvb, tree, fields.damage, experts)
        pinfo.cols.info:append(" [damaged]")
    end
    return tvb:len()
end

bind(message, kUser0)

-- --- TLV buffers

local kTotal, kType, kLength = 2, 2, 2  -- sizes

local buffer = Proto("quill_tlv", "libquill TLV buffer")
local tlv = {
    total = ProtoField.uint16("quill_tlv.total", "Bytes of records"),
    record = ProtoField.none("quill_tlv.record", "Record"),
    type = ProtoField.uint16("quill_tlv.type", "Type"),
    length = ProtoField.uint16("quill_tlv.length", "Length"),
    value = ProtoField.bytes("quill_tlv.value", "Value"),
    number = ProtoField.uint32("quill_tlv.number", "Number"),
    text = ProtoField.string("quill_tlv.text", "Text"),
    damage = ProtoField.string("quill_tlv.damage", "Damage"),
}
local tlv_experts = experts_of("quill_tlv")
buffer.fields = tlv
buffer.experts = tlv_experts

local function show_record(tvb, at, length, tree)
    local record = tree:add(tlv.record, tvb(at, kType + kLength + length))
    record:set_text(string.format("Type %d, %d bytes", uint(tvb, at, kType), length))
    record:add(tlv.type, tvb(at, kType))
    record:add(tlv.length, tvb(at + kType, kLength))
    if length == 0 then return end
    local value = tvb(at + kType + kLength, length)
    record:add(tlv.value, value)
    if length == 4 then record:add(tlv.number, value) end
    if is_utf8(value:raw()) and not value:raw():find("%c") then record:add_packet_field(tlv.text, value, ENC_UTF_8) end
end

-- Shows the records up to the end. Returns the damage, or nil.
local function show_records(tvb, at, finish, tree)
    while at < finish do
        local left = finish - at
        if left < kType + kLength then
            return damaged(at, kType + kLength .. " bytes of type and length", left .. " left")
        end
        local length = uint(tvb, at + kType, kLength)
        if left - kType - kLength < length then
            return damaged(at + kType, length .. " bytes of value", left - kType - kLength .. " left")
        end
        show_record(tvb, at, length, tree)
        at = at + kType + kLength + length
    end
    return nil
end

local function dissect_buffer(tvb, tree)
    if tvb:len() < kTotal then return damaged(0, kTotal .. " bytes of total", tvb:len() .. " left") end
    local total, there = uint(tvb, 0, kTotal), tvb:len() - kTotal
    tree:add(tlv.total, tvb(0, kTotal))
    local finish = kTotal + math.min(total, there)
    local damage = show_records(tvb, kTotal, finish, tree)
    if damage then return damage end
    if total > there then return damaged(0, total .. " bytes of records", there .. " left") end
    if total < there then return damaged(finish, "the end", there - total .. " bytes") end
    return nil
end

function buffer.dissector(tvb, pinfo, root)
    pinfo.cols.protocol = "quill_tlv"
    local tree = root:add(buffer, tvb())
    local damage = dissect_buffer(tvb, tree)
    pinfo.cols.info = damage and "damaged" or tvb:len() .. " bytes"
    if damage then show_damage(damage, tvb, tree, tlv.damage, tlv_experts) end
    return tvb:len()
end

bind(buffer, kUser1)
