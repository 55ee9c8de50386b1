-- Shows what a lantrix client and its server say to each other in Wireshark and tshark: the requests
-- and replies of the command connection (TCP 7549) and of the frame connection (TCP 7550), field by
-- field, each reply with its request and the time between them.
--
-- Wireshark loads it from its folder of plugins, tshark also from a path:
--     tshark -X lua_script:lantrix.lua -r session.pcap -2 -Y 'lantrix.method == "GetChildren"'
-- With -2, tshark knows of a request which reply it got, as Wireshark always does.
--
-- Everything that outlives a packet is in `streams` (what the next packet of a connection means) and
-- `pdus` (what was found in a packet when it was first seen, since packets are then shown in any order).

local COMMAND_PORT, FRAME_PORT = 7549, 7550

local lantrix = Proto("lantrix", "Lantrix media server")

-- ---- Fields ------------------------------------------------------------------------------------

local OS_NAMES = { [0] = "unknown", "Irix", "Linux", "WindowsNT", "MacOSX" }
local KIND_NAMES = { [0] = "other", "clip" }
local SCAN_NAMES = { [0] = "field1_odd", "field1_even", "field2_odd", "field2_even", "progressive" }

local F = {
    type = ProtoField.string("lantrix.type", "Type"),
    id = ProtoField.int32("lantrix.id", "Request id"),
    method = ProtoField.string("lantrix.method", "Method"),
    value = ProtoField.string("lantrix.value", "Value"),
    code = ProtoField.string("lantrix.code", "Code"),
    error = ProtoField.string("lantrix.error", "Error"),
    success = ProtoField.bool("lantrix.success", "Success"),

    node = ProtoField.string("lantrix.node", "Node id"),
    parent = ProtoField.string("lantrix.parent", "Parent's id"),
    name = ProtoField.string("lantrix.name", "Name"),
    kind = ProtoField.int32("lantrix.kind", "Kind", base.DEC, KIND_NAMES),
    node_type = ProtoField.string("lantrix.node_type", "Node type"),
    count = ProtoField.int32("lantrix.count", "Count"),
    frame = ProtoField.string("lantrix.frame", "Frame id"),
    path = ProtoField.string("lantrix.path", "Path"),
    host = ProtoField.string("lantrix.host", "Host"),
    os = ProtoField.int32("lantrix.os", "System", base.DEC, OS_NAMES),
    os_version = ProtoField.string("lantrix.os_version", "System's version"),
    stream = ProtoField.string("lantrix.stream", "Metadata stream"),
    filter = ProtoField.string("lantrix.filter", "Filter"),
    depth = ProtoField.int32("lantrix.depth", "Depth"),
    text = ProtoField.string("lantrix.text", "Text"),
    major = ProtoField.int32("lantrix.version.major", "Major"),
    minor = ProtoField.int32("lantrix.version.minor", "Minor"),
    storage = ProtoField.string("lantrix.storage", "Storage id"),

    width = ProtoField.int32("lantrix.format.width", "Width"),
    height = ProtoField.int32("lantrix.format.height", "Height"),
    depth_bits = ProtoField.int32("lantrix.format.bits_per_pixel", "Bits per pixel"),
    channels = ProtoField.int32("lantrix.format.channels", "Channels"),
    buffer_size = ProtoField.int32("lantrix.format.buffer_size", "Frame buffer size"),
    ratio = ProtoField.float("lantrix.format.pixel_ratio", "Pixel ratio"),
    rate = ProtoField.float("lantrix.format.rate", "Frame rate"),
    tag = ProtoField.string("lantrix.format.tag", "Format tag"),
    scan = ProtoField.int32("lantrix.format.scan", "Scan format", base.DEC, SCAN_NAMES),
    metadata_tag = ProtoField.string("lantrix.format.metadata_tag", "Metadata tag"),
    metadata = ProtoField.string("lantrix.format.metadata", "Metadata"),

    size = ProtoField.int64("lantrix.size", "Size in bytes"),
    data = ProtoField.bytes("lantrix.data", "Frame data"),
    data_size = ProtoField.int64("lantrix.data.size", "Bytes of the frame in this packet"),

    reply_in = ProtoField.framenum("lantrix.reply_in", "Reply in", base.NONE, frametype.RESPONSE),
    request_in = ProtoField.framenum("lantrix.request_in", "Request in", base.NONE, frametype.REQUEST),
    time = ProtoField.relative_time("lantrix.time", "Time since the request"),
}
lantrix.fields = F

local E = {
    malformed = ProtoExpert.new("lantrix.malformed", "Not what the protocol allows",
        expert.group.MALFORMED, expert.severity.ERROR),
    unknown = ProtoExpert.new("lantrix.unknown_method", "Unknown method",
        expert.group.UNDECODED, expert.severity.WARN),
    refused = ProtoExpert.new("lantrix.refused", "The server refused",
        expert.group.RESPONSE_CODE, expert.severity.NOTE),
    unanswered = ProtoExpert.new("lantrix.unanswered", "No reply in this capture",
        expert.group.SEQUENCE, expert.severity.NOTE),
    unasked = ProtoExpert.new("lantrix.unasked", "No request in this capture",
        expert.group.SEQUENCE, expert.severity.NOTE),
}
lantrix.experts = E

-- ---- What the methods carry --------------------------------------------------------------------

-- A layout is a pattern and the fields of its captures; WORD is a field between blanks.
local WORD = "([^ ]*)"
local FORMAT_WORDS = { F.width, F.height, F.depth_bits, F.channels, F.buffer_size, F.ratio, F.rate, F.tag,
    F.scan, F.metadata_tag }

local function words(count) return WORD .. string.rep(" " .. WORD, count - 1) end

local function append(list, others)
    for _, item in ipairs(others) do list[#list + 1] = item end
    return list
end

local function unquote(text) return (text:gsub("\\(.)", "%1")) end

-- The text before the quoted one that ends the value, and that one without its quotes. In a quoted
-- text each double quote has a backslash in front, so that only one place can be its beginning.
local function split_quoted(value)
    local start = 0
    while true do
        start = value:find('"', start + 1, true)
        if not start then return nil end
        local inner = value:match('^"(.*)"$', start)
        if inner and not inner:gsub("\\.", ""):find('["\\]') then
            return value:sub(1, start - 1), unquote(inner)
        end
    end
end

local function layout(pattern, fields)
    return function(value, add)
        local captures = { value:match("^" .. pattern .. "$") }
        if #captures ~= #fields then return false end
        for i, field in ipairs(fields) do
            if not add(field, captures[i]) then return false end
        end
        return true
    end
end

local function quoted_last(pattern, fields, last)
    local head = layout(pattern .. " ", fields)
    return function(value, add)
        local before, text = split_quoted(value)
        return before ~= nil and head(before, add) and add(last, text)
    end
end

local function list_of(field)
    return function(value, add)
        for item in value:gmatch("[^,]+") do add(field, item) end
        return true
    end
end

local function anything() return true end

-- "a","b": paths hold neither commas nor double quotes.
local function translated(value, add)
    local source, source_os, target, target_os, paths =
        value:match('^"(.-)" ([^ ]*) "(.-)" ([^ ]*) (.*)$')
    if not source then return false end
    local good = add(F.host, source) and add(F.os, source_os) and add(F.host, target) and add(F.os, target_os)
    for path in paths:gmatch("[^,]+") do
        good = good and path:match('^"[^"]*"$') ~= nil and add(F.path, path:sub(2, -2))
    end
    return good
end

-- ID,NAME,ID,NAME: empty names count here.
local function children(value, add)
    local id
    for item in (value .. ","):gmatch("([^,]*),") do
        if id then
            add(F.node, id)
            add(F.name, item)
            id = nil
        else
            id = item
        end
    end
    return id == nil or id == ""
end

local function linked(value, add)
    local before, metadata = split_quoted(value)
    local fields = append({ F.node, false, F.host, F.os, F.os_version }, FORMAT_WORDS)
    local captures = before and { before:match("^" .. WORD .. " (.*) " .. words(13) .. " $") } or {}
    if #captures ~= #fields then return false end
    local good = true
    for i, field in ipairs(fields) do
        if field then
            good = good and add(field, captures[i])
        else
            good = good and list_of(F.path)(captures[i], add)
        end
    end
    return good and add(F.metadata, metadata)
end

local node = layout(WORD, { F.node })
local frames = list_of(F.frame)
local version = layout(" *" .. WORD .. " +" .. WORD .. ".*", { F.major, F.minor })
-- Clients skip the blanks before each field of a format that they are told.
local format = layout(string.rep(" *([^ ]+)", 10) .. " ?(.*)", append(append({}, FORMAT_WORDS), { F.metadata }))

-- What stands in the request, and in an "ok" reply.
local METHODS = {
    Ping = { anything, anything },
    QueryVersion = { anything, version },
    Shutdown = { anything, anything },
    TranslatePaths = { translated, list_of(F.path) },
    GetRootNode = { anything, node },
    GetChildren = { node, children },
    GetNodeType = { node, layout(" *" .. WORD .. " +" .. WORD .. ".*", { F.kind, F.node_type }) },
    GetNodeTypeStr = { node, layout("(.*)", { F.node_type }) },
    GetDisplayName = { node, layout("(.*)", { F.name }) },
    CreateNode = { layout(WORD .. ' "(.*)" ' .. words(2), { F.parent, F.name, F.kind, F.node_type }), node },
    DestroyNode = { node, anything },
    AllocateFrames = {
        quoted_last(words(12), append({ F.node, F.count }, FORMAT_WORDS), F.metadata), frames },
    GetFrames = { node, frames },
    GetFramePaths = { layout(words(4), { F.node, F.host, F.os, F.os_version }), list_of(F.path) },
    SetFramePaths = { linked, anything },
    GetClipFormat = { node, format },
    QueryMetaDataSupport = { node, list_of(F.stream) },
    GetMetaData = { layout(words(4), { F.node, F.stream, F.filter, F.depth }), layout("(.*)", { F.text }) },
    SetMetaData = { quoted_last(words(2), { F.node, F.stream }, F.text), anything },
    QueryNodePlugInVendor = { anything, layout("(.*)", { F.text }) },
    QueryNodePlugInProduct = { anything, layout("(.*)", { F.text }) },
    QueryNodePlugInVersion = { anything, version },
    GetStorageId = { anything, layout("(.*)", { F.storage }) },
}

local WHOLE = { [F.id] = true, [F.kind] = true, [F.count] = true, [F.os] = true, [F.depth] = true,
    [F.major] = true, [F.minor] = true, [F.width] = true, [F.height] = true, [F.depth_bits] = true,
    [F.channels] = true, [F.buffer_size] = true, [F.scan] = true, [F.size] = true }
local FRACTION = { [F.ratio] = true, [F.rate] = true }

-- Adds texts as fields of the kind that these have; false when a text is not a number where one is due.
local function adder(tree, range)
    return function(field, text)
        if WHOLE[field] then
            local number = text:match("^%-?%d+$") and tonumber(text)
            if not number or math.abs(number) >= 2 ^ 31 then return false end
            tree:add(field, range, field == F.size and Int64(number) or number)
        elseif FRACTION[field] then
            local number = text:match("^[-+.%deE]+$") and tonumber(text)
            if not number then return false end
            tree:add(field, range, number)
        else
            tree:add(field, range, text)
        end
        return true
    end
end

-- ---- State -------------------------------------------------------------------------------------

local streams, pdus = {}, {}

function lantrix.init() streams, pdus = {}, {} end

-- What is known of a connection: its requests that want an answer, how many of them have one, and for
-- each direction the bytes of a frame that are still to come in packets that can't be put together.
-- Addresses and ports name it, since other fields are not there when packets are seen first.
local function stream_of(pinfo, is_request)
    local from = tostring(pinfo.src) .. ":" .. pinfo.src_port
    local to = tostring(pinfo.dst) .. ":" .. pinfo.dst_port
    local name = is_request and from .. ">" .. to or to .. ">" .. from
    streams[name] = streams[name] or { requests = {}, answered = 0, owed = { request = 0, reply = 0 } }
    return streams[name]
end

local function expect_reply(stream, request)
    stream.requests[#stream.requests + 1] = request
end

-- The request that the next reply answers; nil when the capture does not have it.
local function next_request(stream)
    local request = stream.requests[stream.answered + 1]
    if request then stream.answered = stream.answered + 1 end
    return request
end

-- ---- What both connections show ----------------------------------------------------------------

local function note(item, kind, text)
    if text then item:add_proto_expert_info(kind, text) else item:add_proto_expert_info(kind) end
end

-- A part of a range or packet, as far as it was captured; it may have no bytes, and stand at the end.
local function part(range, at, length)
    local here = math.min(length, range:len() - at)
    return here > 0 and range(at, here) or range(0, 0)
end

local function show_match(tree, range, pdu)
    if pdu.is_unfinished then
        return
    elseif pdu.is_request then
        if pdu.reply_in then
            tree:add(F.reply_in, range(0, 0), pdu.reply_in):set_generated()
        elseif pdu.wants_reply and pdu.is_shown_again then
            note(tree, E.unanswered)
        end
        return
    end
    if not pdu.request then
        note(tree, E.unasked)
        return
    end
    tree:add(F.method, range(0, 0), pdu.request.method):set_generated()
    tree:add(F.request_in, range(0, 0), pdu.request.number):set_generated()
    local seconds = math.floor(pdu.time)
    tree:add(F.time, range(0, 0), NSTime.new(seconds, math.floor((pdu.time - seconds) * 1e9))):set_generated()
end

local function answer(stream, pinfo)
    local request = next_request(stream)
    if request then request.reply_in = pinfo.number end
    return { request = request, time = request and pinfo.rel_ts - request.at or 0 }
end

local function show_info(pinfo, text)
    -- Bytes that no screen shows would end the column.
    pinfo.cols.info:append((text:gsub("%c", function(byte) return string.format("\\x%02x", byte:byte()) end)) .. "  ")
end

-- What a packet holds at a place, found by `find` when it is seen for the first time. The beginning of a
-- message whose end never came is found only when packets are shown, and means nothing to others.
local function remembered(tvb, offset, pinfo, find)
    local key = table.concat({ pinfo.number, tvb:offset() + offset, tvb:reported_len() }, ":")
    if not pinfo.visited then
        pdus[key] = find()
    elseif pdus[key] then
        pdus[key].is_shown_again = true
    end
    return pdus[key] or { is_unfinished = true }
end

-- ---- The command connection --------------------------------------------------------------------

local UNESCAPED = { t = "\t", n = "\n" }
local function unescape(text)
    return (text:gsub("\\(.)", function(byte) return UNESCAPED[byte] or byte end))
end

local function has_bare_bytes(value)
    return value:find("[%z\t]") ~= nil or value:gsub("\\.", ""):find("\\", 1, true) ~= nil
end

local function show_value(tree, range, parse, value)
    local text = unescape(value)
    local item = tree:add(F.value, range, text)
    if has_bare_bytes(value) then
        note(item, E.malformed, "The value holds a NUL or a tab, or ends within an escape")
    elseif not parse(text, adder(item, range)) then
        note(item, E.malformed, "The value is not laid out as the method's is")
    end
end

local function show_request(tree, range, line)
    local type, id, method, blank, value = line:match("^([^ ]*) ([^ ]*) ([^ ]+)( ?)(.*)$")
    if not type or (type ~= "sync" and type ~= "async") then
        note(tree, E.malformed, "Neither a sync nor an async request")
        return
    end
    local add = adder(tree, range)
    add(F.type, type)
    if not add(F.id, id) then note(tree, E.malformed, "The request's id is not a number") end
    tree:add(F.method, range(#type + #id + 2, #method), method)
    if not METHODS[method] then
        note(tree, E.unknown, "Unknown method " .. method)
        return
    end
    show_value(tree, part(range, #line - #value, #value), METHODS[method][1], value)
end

local function show_reply(tree, range, line, pdu)
    local code, value = line:match("^([^ ]*) (.*)$")
    if not code then
        note(tree, E.malformed, "No blank behind the reply's code")
        return
    end
    tree:add(F.code, part(range, 0, #code), code)
    tree:add(F.success, part(range, 0, #code), code == "ok")
    local place = part(range, #code + 1, #value)
    if code ~= "ok" then
        note(tree:add(F.error, place, unescape(value)), E.refused)
    elseif pdu.request and METHODS[pdu.request.method] then
        show_value(tree, place, METHODS[pdu.request.method][2], value)
    else
        tree:add(F.value, place, unescape(value))
    end
end

local function find_command(line, stream, pinfo, is_request)
    if not is_request then return answer(stream, pinfo) end
    local type, method = line:match("^([^ ]*) [^ ]* ([^ ]+)")
    local request = { is_request = true, method = method or "", number = pinfo.number, at = pinfo.rel_ts,
        wants_reply = type == "sync" }
    if request.wants_reply then expect_reply(stream, request) end
    return request
end

-- Shows the line at `offset`. Returns its length, or nil when its end is still to come.
local function dissect_line(tvb, offset, pinfo, tree, stream, is_request)
    local rest = tvb:raw(offset)
    local ending = rest:find("\n", 1, true)
    if not ending then
        if pinfo.can_desegment > 0 then return nil end
        ending = #rest + 1
    end
    local line = rest:sub(1, ending - 1)
    local range = tvb(offset, #line)
    local pdu = remembered(tvb, offset, pinfo, function() return find_command(line, stream, pinfo, is_request) end)
    local item = tree:add(lantrix, range, (is_request and "Request: " or "Reply: ") .. line)
    if is_request then show_request(item, range, line) else show_reply(item, range, line, pdu) end
    show_match(item, range, pdu)
    show_info(pinfo, line)
    return math.min(ending, tvb:reported_len() - offset)
end

-- ---- The frame connection ----------------------------------------------------------------------

local FRAME_METHODS = { WriteFrame = true, ReadFrame = true, ReadAhead = true }
local LONGEST_TEXT = 4096

-- The texts that stand at the beginning of these bytes, each with a NUL behind it, and their length.
local function texts_of(rest, count)
    local texts, at = {}, 1
    while #texts < count do
        local ending = rest:find("\0", at, true)
        if not ending then return nil end
        texts[#texts + 1] = rest:sub(at, ending - 1)
        at = ending + 1
    end
    return texts, at - 1
end

local function add_data(tree, tvb, offset, size)
    if size <= 0 then return end
    local captured = part(tvb, offset, size)
    if captured:len() > 0 then tree:add(F.data, captured) end
    tree:add(F.data_size, captured, Int64(size)):set_generated()
end

local function frame_request(texts, pinfo)
    return { is_request = true, method = texts[1], frame = texts[2], size = tonumber(texts[3]) or 0,
        number = pinfo.number, at = pinfo.rel_ts, wants_reply = texts[1] ~= "ReadAhead" }
end

-- A request that waits for its frame counts from its first packet on: a server may refuse it early.
local function register(stream, texts, pinfo)
    local request = stream.partial
    if not request then
        request = frame_request(texts, pinfo)
        if request.wants_reply then expect_reply(stream, request) end
    end
    stream.partial = nil
    request.number, request.at = pinfo.number, pinfo.rel_ts
    return request
end

-- How many bytes of a frame follow in this packet, of those that a message has. Nil when more
-- packets must come first; the rest is owed by those that come when they can't be put together.
local function bytes_here(tvb, offset, pinfo, stream, direction, size)
    local here = math.min(size, tvb:reported_len() - offset)
    if here < size and pinfo.can_desegment > 0 then return nil, size - here end
    if here < size and not pinfo.visited then stream.owed[direction] = size - here end
    return here
end

local function lose(tree, tvb, offset, text)
    note(tree:add(lantrix, tvb(offset), "Not a message"), E.malformed, text)
    return tvb:reported_len() - offset
end

local function show_frame_request(tree, tvb, offset, texts, length, here)
    local item = tree:add(lantrix, part(tvb, offset, length + here), "Request: " .. table.concat(texts, " "))
    local range = tvb(offset, length)
    local add = adder(item, range)
    add(F.method, texts[1])
    add(F.frame, texts[2])
    if not add(F.size, texts[3]) then note(item, E.malformed, "The size is not a number") end
    add_data(item, tvb, offset + length, here)
    return item, range
end

local function dissect_frame_request(tvb, offset, pinfo, tree, stream)
    local rest = tvb:raw(offset)
    local texts, length = texts_of(rest, 3)
    local method = texts and texts[1] or rest:match("^%Z*")
    local may_be = false
    for name in pairs(FRAME_METHODS) do may_be = may_be or name:sub(1, #method) == method end
    if not may_be or (texts and not FRAME_METHODS[method]) then
        return lose(tree, tvb, offset, "Neither WriteFrame, ReadFrame nor ReadAhead")
    elseif not texts then
        if pinfo.can_desegment > 0 and #rest < LONGEST_TEXT then return nil end
        return lose(tree, tvb, offset, "A request without its end")
    end
    local size = method == "WriteFrame" and math.max(0, tonumber(texts[3]) or 0) or 0
    local here, missing = bytes_here(tvb, offset + length, pinfo, stream, "request", size)
    if not here then
        if not pinfo.visited and not stream.partial then
            stream.partial = frame_request(texts, pinfo)
            expect_reply(stream, stream.partial)
        end
        return nil, missing
    end
    local pdu = remembered(tvb, offset, pinfo, function() return register(stream, texts, pinfo) end)
    local item, range = show_frame_request(tree, tvb, offset, texts, length, here)
    show_match(item, range, pdu)
    show_info(pinfo, table.concat(texts, " "))
    return length + here
end

-- What a status says, and how many bytes of a frame belong behind it.
local function status_of(texts, request)
    if texts[1] ~= "" then return "failure: " .. texts[1], 0 end
    if not request or request.method ~= "ReadFrame" then return "success", 0 end
    return string.format("success, %d bytes", request.size), math.max(0, request.size)
end

local function show_status(tree, tvb, offset, text, length, here, pdu)
    local item = tree:add(lantrix, part(tvb, offset, length + here), "Reply: " .. text)
    local range = tvb(offset, length)
    item:add(F.success, range, length == 1)
    if length > 1 then note(item:add(F.error, range, tvb(offset, length - 1):string()), E.refused) end
    if pdu.request then item:add(F.frame, range(0, 0), pdu.request.frame):set_generated() end
    add_data(item, tvb, offset + length, here)
    show_match(item, range, pdu)
end

local function dissect_frame_reply(tvb, offset, pinfo, tree, stream)
    local rest = tvb:raw(offset)
    local texts, length = texts_of(rest, 1)
    if not texts then
        if pinfo.can_desegment > 0 and #rest < LONGEST_TEXT then return nil end
        return lose(tree, tvb, offset, "A status without its end")
    end
    local known = pinfo.visited and remembered(tvb, offset, pinfo)
    local request
    if known then request = known.request else request = stream.requests[stream.answered + 1] end
    local text, size = status_of(texts, request)
    local here, missing = bytes_here(tvb, offset + length, pinfo, stream, "reply", size)
    if not here then return nil, missing end
    local pdu = known or remembered(tvb, offset, pinfo, function() return answer(stream, pinfo) end)
    show_status(tree, tvb, offset, text, length, here, pdu)
    show_info(pinfo, text)
    return length + here
end

-- The bytes of a frame that an earlier packet has announced and that could not be put together with it.
local function dissect_owed(tvb, offset, pinfo, tree, stream, direction)
    local pdu = remembered(tvb, offset, pinfo, function()
        local here = math.min(stream.owed[direction], tvb:reported_len() - offset)
        if here == 0 then return nil end
        stream.owed[direction] = stream.owed[direction] - here
        return { continues = here }
    end)
    if not pdu.continues then return 0 end
    local item = tree:add(lantrix, part(tvb, offset, pdu.continues), "Frame, continued")
    add_data(item, tvb, offset, pdu.continues)
    show_info(pinfo, string.format("frame, %d bytes more", pdu.continues))
    return pdu.continues
end

-- ---- A packet ----------------------------------------------------------------------------------

local function dissect_one(tvb, offset, pinfo, tree, stream, port, is_request)
    if port == COMMAND_PORT then return dissect_line(tvb, offset, pinfo, tree, stream, is_request) end
    local owed = dissect_owed(tvb, offset, pinfo, tree, stream, is_request and "request" or "reply")
    if owed > 0 then return owed end
    if is_request then return dissect_frame_request(tvb, offset, pinfo, tree, stream) end
    return dissect_frame_reply(tvb, offset, pinfo, tree, stream)
end

function lantrix.dissector(tvb, pinfo, tree)
    local is_request = pinfo.dst_port == COMMAND_PORT or pinfo.dst_port == FRAME_PORT
    local port = is_request and pinfo.dst_port or pinfo.src_port
    local stream = stream_of(pinfo, is_request)
    pinfo.cols.protocol = "Lantrix"
    pinfo.cols.info:clear()
    local offset = 0
    while offset < tvb:reported_len() do
        local length, missing = dissect_one(tvb, offset, pinfo, tree, stream, port, is_request)
        if not length then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = missing or DESEGMENT_ONE_MORE_SEGMENT
            break
        end
        offset = offset + length
    end
    pinfo.cols.info:fence()
    return tvb:reported_len()
end

local ports = DissectorTable.get("tcp.port")
ports:add(COMMAND_PORT, lantrix)
ports:add(FRAME_PORT, lantrix)
