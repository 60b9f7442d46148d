-- Shows Korvane management sessions in the packet analyser: header, requests and replies by field,
-- statuses by name, wrong lengths marked. The tables `header`, `records`, `messages`, `statuses` and
-- `longest` stand above, written from the product's own descriptions of what travels.

local korvane = Proto("korvane", "Korvane management protocol")

local expert_length = ProtoExpert.new("korvane.wrong_length", "Wrong length", expert.group.MALFORMED,
                                      expert.severity.ERROR)
local expert_unasked = ProtoExpert.new("korvane.unasked", "Nobody asked for this",
                                       expert.group.SEQUENCE, expert.severity.WARN)
local expert_status = ProtoExpert.new("korvane.refused", "The agent has refused",
                                      expert.group.RESPONSE_CODE, expert.severity.NOTE)
korvane.experts = {expert_length, expert_unasked, expert_status}
korvane.prefs.port = Pref.uint("TCP port", 35001, "The agents' port")

local unknown = ProtoField.bytes("korvane.unknown", "Unknown")
local text_field = ProtoField.string("korvane.text", "Text")
local message_name = ProtoField.string("korvane.message", "Message")
local all_fields = {unknown, text_field, message_name}

local tcp_stream = Field.new("tcp.stream")

-- A field of the analyser for each row.

local integers = {
    unsigned = {ProtoField.uint8, ProtoField.uint16, [4] = ProtoField.uint32, [8] = ProtoField.uint64},
    signed = {ProtoField.int8, ProtoField.int16, [4] = ProtoField.int32, [8] = ProtoField.int64},
}

local function analyser_field(record, row)
    local abbreviation = "korvane." .. record .. "." .. row.name
    local integer = integers[row.type]
    if integer then
        local base = row.meaning == "bits" and base.HEX or base.DEC
        local words = row.width < 8 and row.words or nil
        return integer[row.width](abbreviation, row.name, base, words)
    end
    if row.meaning == "bytes" then return ProtoField.bytes(abbreviation, row.name) end
    if row.meaning == "address" and row.width == 4 then
        return ProtoField.ipv4(abbreviation, row.name)
    end
    return ProtoField.string(abbreviation, row.name)
end

header.name = "header"
local described = {header}
for name, record in pairs(records) do
    record.name = name
    described[#described + 1] = record
end
for _, record in ipairs(described) do
    for _, row in ipairs(record.fields) do
        row.field = analyser_field(record.name, row)
        all_fields[#all_fields + 1] = row.field
    end
end
korvane.fields = all_fields

-- Records.

local function unit_of(row)
    return row.unit and " " .. row.unit or ""
end

local function text_in(range)
    return (range:raw():gsub("%z.*", ""))
end

-- What the addresses of the record that is shown are: IPv4 where nothing else was said.
local family

local function add_address(tree, row, range)
    if range:len() == 4 then
        tree:add(row.field, range)
    elseif family == "ipv6" or family == "ipv4" then
        local address = family == "ipv6" and range(0, 16):ipv6() or range(0, 4):ipv4()
        tree:add(row.field, range, tostring(address))
    else
        tree:add(row.field, range, text_in(range))
    end
end

local function add_field(tree, row, range)
    if row.meaning == "family" then family = row.words[range:le_uint()] end
    if row.type ~= "text" then
        tree:add_le(row.field, range):append_text(unit_of(row))
    elseif row.meaning == "secret" then
        tree:add(row.field, range, "(hidden)")
    elseif row.meaning == "address" then
        add_address(tree, row, range)
    elseif row.meaning == "bytes" then
        tree:add(row.field, range)
    else
        local text = text_in(range)
        local item = tree:add(row.field, range, text)
        local word = row.words and row.words[tonumber(text)]
        item:append_text(word and " (" .. word .. ")" or text ~= "" and unit_of(row) or "")
    end
end

local function is_given(record, range, bit)
    if not bit or not record.present then return true end
    return bit32.band(range:range(record.present, 4):le_uint(), bit) ~= 0
end

local function add_record(tree, record, range)
    for _, row in ipairs(record.fields) do
        if is_given(record, range, row.bit) then
            add_field(tree, row, range:range(row.offset, row.width))
        end
    end
    for _, part in ipairs(record.parts or {}) do
        local inner = records[part.record]
        for i = 0, part.count - 1 do
            if is_given(record, range, part.bit) then
                local piece = range:range(part.offset + i * inner.size, inner.size)
                local name = part.count > 1 and part.name .. "[" .. i .. "]" or part.name
                add_record(tree:add(korvane, piece, name), inner, piece)
            end
        end
    end
end

-- Data.

local function mark_rest(tree, range, begin, why)
    if begin >= range:len() then return end
    tree:add(unknown, range:range(begin)):add_proto_expert_info(expert_length, why)
end

local function add_records(tree, payload, range)
    local record = records[payload.record]
    local single = payload.form == "record"
    local begin = 0
    while begin + record.size <= range:len() and not (single and begin > 0) do
        if payload.form == "list" and range:range(begin, 1):uint() == 0xFF then break end
        local piece = range:range(begin, record.size)
        family = "ipv4"
        add_record(tree:add(korvane, piece, payload.record), record, piece)
        begin = begin + record.size
    end
    local ended = payload.form == "list" and begin < range:len() and
                  range:range(begin, 1):uint() == 0xFF
    if not ended then
        mark_rest(tree, range, begin, ("%d bytes where a %s has %d"):format(
            range:len() - begin, payload.record, record.size))
    end
end

local function add_texts(tree, range)
    local bytes = range:raw()
    local begin = 0
    for ending in bytes:gmatch("()%z") do
        tree:add(text_field, range:range(begin, ending - begin), bytes:sub(begin + 1, ending - 1))
        begin = ending
    end
    mark_rest(tree, range, begin, "a text without an end")
end

local function add_data(tree, payload, range)
    if payload.form == "text" then
        tree:add(text_field, range)
    elseif payload.form == "texts" then
        add_texts(tree, range)
    elseif payload.form == "nothing" then
        mark_rest(tree, range, 0, "data where none are due")
    else
        add_records(tree, payload, range)
    end
end

-- Sessions: who is the client, and what has been asked.

local streams
local asked_at  -- the request that a reply answers, by the reply's frame and place

function korvane.init()
    streams = {}
    asked_at = {}
end

local function find_message(service, opcode, os_type)
    for _, message in ipairs(messages) do
        if message.service == service and message.opcode == opcode and
           (message.os_type == 0 or message.os_type == os_type) then
            return message
        end
    end
    return {name = ("service %d, opcode %d"):format(service, opcode)}
end

-- The first to speak is the client.
local function stream_of(pinfo)
    local number = tcp_stream().value
    streams[number] = streams[number] or {client = pinfo.src_port}
    return streams[number], pinfo.src_port == streams[number].client
end

local function request_in(buffer)
    return find_message(buffer(4, 1):uint(), buffer(6, 2):le_uint(), buffer(1, 1):uint())
end

-- A reply answers the request before it; nil where there is none.
local function asked_by(stream, pinfo, offset)
    local place = pinfo.number .. ":" .. offset
    if not pinfo.visited then
        asked_at[place] = stream.asked
        stream.asked = nil
    end
    return asked_at[place]
end

local function add_message(buffer, pinfo, tree, message, kind, status, length)
    local name = message and message.name or "?"
    local node = tree:add(korvane, buffer(), ("Korvane management, %s: %s"):format(kind, name))
    node:add(message_name, buffer(0, header.size), name)
    local head = node:add(korvane, buffer(0, header.size), "header")
    add_record(head, header, buffer(0, header.size))
    local info = name .. " " .. kind
    if kind == "reply" then
        local said = statuses[status] or "status " .. status
        info = info .. ": " .. said
        if status ~= 0 then head:add_proto_expert_info(expert_status, said) end
    end
    pinfo.cols.info:append(info .. "  ")
    if not message then node:add_proto_expert_info(expert_unasked) end
    if length > longest then head:add_proto_expert_info(expert_length, "more than agents send") end

    local payload = message and message[kind]
    local data = buffer:len() > header.size and buffer(header.size)
    if data and payload then
        add_data(node, payload, data)
    elseif data then
        node:add(unknown, data)
    elseif payload and payload.form == "record" and status == 0 then
        head:add_proto_expert_info(expert_length, "no data where a " .. payload.record .. " is due")
    end
end

-- How long the message is; it is shown once it is there.
local function dissect_message(buffer, pinfo, tree, offset)
    local stream, from_client = stream_of(pinfo)
    local length = buffer(offset + 9, 4):le_uint()
    local status = buffer(offset + 14, 4):le_uint()
    -- A reply with a status has no data, whatever its length says.
    local has_data = (from_client or status == 0) and length <= longest
    local size = header.size + (has_data and length or 0)
    if offset + size > buffer:len() then return size end
    local whole = buffer(offset, size):tvb()
    if from_client then
        stream.asked = request_in(whole)
        add_message(whole, pinfo, tree, stream.asked, "request", status, length)
    else
        add_message(whole, pinfo, tree, asked_by(stream, pinfo, offset), "reply", status, length)
    end
    return size
end

function korvane.dissector(buffer, pinfo, tree)
    pinfo.cols.protocol = "KORVANE"
    pinfo.cols.info:clear()
    local offset = 0
    while offset < buffer:len() do
        local there = buffer:len() - offset
        local size = there >= header.size and dissect_message(buffer, pinfo, tree, offset)
        if not size or size > there then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = size and size - there or DESEGMENT_ONE_MORE_SEGMENT
            break
        end
        offset = offset + size
    end
    return buffer:len()
end

-- All of it is TLS.
local registered
local function register(port)
    if registered then
        DissectorTable.get("tcp.port"):remove(registered, Dissector.get("tls"))
        DissectorTable.get("tls.port"):remove(registered, korvane)
    end
    DissectorTable.get("tcp.port"):add(port, Dissector.get("tls"))
    DissectorTable.get("tls.port"):add(port, korvane)
    registered = port
end
function korvane.prefs_changed()
    register(korvane.prefs.port)
end
register(korvane.prefs.port)
