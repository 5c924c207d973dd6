-- Vortane Quillar telemetry export for DCS World.
--
-- Sends the flight state to Vortane Quillar on this machine (UDP 127.0.0.1:29778), at most 50 times a
-- second, as one line of ten ";"-separated fields:
--   aircraft;IAS km/h;vertical speed m/s;angle of attack deg;g;gear 0..1;airbrake 0..1;flaps 0..1;
--   engine RPM %;weight on wheels 0/1
-- Nothing is sent while there is no own aircraft (a multiplayer slot screen, a spectator).
--
-- Install: copy this file to Saved Games\DCS\Scripts\ and append this one line to
-- Saved Games\DCS\Scripts\Export.lua (create the file if it does not exist):
--   local lfs=require('lfs'); dofile(lfs.writedir()..'Scripts/VortaneQuillar.lua')
--
-- Other exporters keep working: the callbacks defined before this file runs are kept and called.
--
-- Your settings go in Scripts\VortaneQuillarConfig.lua beside this file, never here: an update of
-- Vortane Quillar replaces this file, and leaves that one alone. It returns a table with any of the
-- settings below, for example:  return { aoaScale = 57.2958 }

if VortaneQuillarExport then
    return -- loaded twice (the line appended twice): the first copy already sends
end

VortaneQuillarExport = {
    host = "127.0.0.1",
    port = 29778,
    interval = 0.02, -- seconds between datagrams: 50 Hz is plenty and keeps the frame callback cheap
    -- LoGetAngleOfAttack() is documented as radians but delivers degrees on the modules we know; the
    -- application expects degrees. 57.2958 (set in VortaneQuillarConfig.lua) for a module that really
    -- reports radians.
    aoaScale = 1,
}

local exporter = VortaneQuillarExport

-- A settings file that cannot be read is written to dcs.log; the script then runs with its own values.
local function logWarning(message)
    if type(log) == "table" and type(log.write) == "function" then
        pcall(log.write, "VortaneQuillar", log.WARNING or log.ERROR, message)
    end
end

local function readSettings()
    local found, lfs = pcall(require, "lfs")
    if not found or type(lfs) ~= "table" or type(lfs.writedir) ~= "function" then
        return
    end
    local path = lfs.writedir() .. "Scripts/VortaneQuillarConfig.lua"
    local file = io.open(path, "r")
    if not file then
        return -- no settings of the user's: the values above
    end
    file:close()
    local chunk, loadError = loadfile(path)
    if not chunk then
        logWarning("VortaneQuillarConfig.lua ignored: " .. tostring(loadError))
        return
    end
    local ran, settings = pcall(chunk)
    if not ran or type(settings) ~= "table" then
        logWarning("VortaneQuillarConfig.lua ignored: " .. (ran and "it returns no table" or tostring(settings)))
        return
    end
    if type(settings.host) == "string" and settings.host ~= "" then
        exporter.host = settings.host
    end
    if type(settings.port) == "number" and settings.port >= 1 and settings.port <= 65535 then
        exporter.port = math.floor(settings.port)
    end
    if type(settings.interval) == "number" and settings.interval > 0 and settings.interval <= 1 then
        exporter.interval = settings.interval
    end
    if type(settings.aoaScale) == "number" and settings.aoaScale == settings.aoaScale
        and settings.aoaScale ~= math.huge and settings.aoaScale ~= -math.huge then
        exporter.aoaScale = settings.aoaScale
    end
end

pcall(readSettings)
local previousStart = LuaExportStart
local previousAfterNextFrame = LuaExportAfterNextFrame
local previousStop = LuaExportStop

-- Numbers always with a decimal point, whatever the C locale of the game says.
local function number(value)
    if type(value) ~= "number" or value ~= value or value == math.huge or value == -math.huge then
        value = 0 -- nil, NaN or infinite
    end
    return (string.format("%.3f", value):gsub(",", "."))
end

-- Calls an export function that may be missing or fail on some modules or before the aircraft exists.
local function get(name, ...)
    local f = _G[name]
    if type(f) ~= "function" then
        return nil
    end
    local ok, result = pcall(f, ...)
    if ok then
        return result
    end
    return nil
end

local function field(t, ...)
    for _, key in ipairs({ ... }) do
        if type(t) ~= "table" then
            return nil
        end
        t = t[key]
    end
    return t
end

local function compressed(argument)
    local value = get("LoGetAircraftDrawArgumentValue", argument)
    return type(value) == "number" and value > 0
end

-- The datagram for the own aircraft, or nil while there is none (a slot screen, a spectator): sending
-- nothing then lets the application notice the silence and declare the next aircraft by its own name.
function exporter.datagram()
    local name = field(get("LoGetSelfData"), "Name")
    if type(name) ~= "string" or name == "" then
        return nil
    end
    name = name:gsub("[;\r\n]", "_")

    local ias = get("LoGetIndicatedAirSpeed")
    local mech = get("LoGetMechInfo")
    local rpmLeft = field(get("LoGetEngineInfo"), "RPM", "left")
    local rpmRight = field(get("LoGetEngineInfo"), "RPM", "right")
    local rpm = math.max(type(rpmLeft) == "number" and rpmLeft or 0, type(rpmRight) == "number" and rpmRight or 0)
    local aoa = get("LoGetAngleOfAttack")
    -- Nose strut (1) or either main strut (4, 6) compressed.
    local onGround = (compressed(1) or compressed(4) or compressed(6)) and 1 or 0

    return table.concat({
        name,
        number(type(ias) == "number" and ias * 3.6 or 0),
        number(get("LoGetVerticalVelocity")),
        number(type(aoa) == "number" and aoa * exporter.aoaScale or 0),
        number(field(get("LoGetAccelerationUnits"), "y")),
        number(field(mech, "gear", "value")),
        number(field(mech, "speedbrakes", "value")),
        number(field(mech, "flaps", "value")),
        number(rpm),
        tostring(onGround),
    }, ";")
end

local function start()
    package.path = package.path .. ";.\\LuaSocket\\?.lua"
    package.cpath = package.cpath .. ";.\\LuaSocket\\?.dll"
    local socket = require("socket")
    exporter.socket = socket.udp()
    -- Never block the frame: a socket with a timeout is the classic cause of DCS stutter.
    exporter.socket:settimeout(0)
    exporter.socket:setpeername(exporter.host, exporter.port)
    exporter.lastSent = nil
end

local function afterNextFrame()
    if not exporter.socket then
        return
    end
    local now = get("LoGetModelTime") or os.clock()
    -- A new mission restarts the model time: start counting again.
    -- The 0.1 ms slack keeps frames that land exactly on the interval from being skipped by rounding.
    if exporter.lastSent and now >= exporter.lastSent and now - exporter.lastSent < exporter.interval - 0.0001 then
        return
    end
    exporter.lastSent = now
    local datagram = exporter.datagram()
    if datagram then
        exporter.socket:send(datagram)
    end
end

local function stop()
    if exporter.socket then
        exporter.socket:close()
        exporter.socket = nil
    end
end

-- A socket that cannot be set up is written to dcs.log, once per game session, where the troubleshooting
-- steps look for it; the game's log object may be missing, and writing to it must never fail the export.
local function reportStartFailure(message)
    if exporter.startFailureLogged then
        return
    end
    exporter.startFailureLogged = true
    if type(log) == "table" and type(log.write) == "function" then
        pcall(log.write, "VortaneQuillar", log.ERROR, "cannot set up the telemetry socket: " .. tostring(message))
    end
end

-- Our own work never breaks the other exporters' callbacks, and theirs are called exactly as before.
function LuaExportStart()
    local ok, message = pcall(start)
    if not ok then
        if exporter.socket then
            pcall(exporter.socket.close, exporter.socket)
            exporter.socket = nil
        end
        pcall(reportStartFailure, message)
    end
    if previousStart then
        previousStart()
    end
end

function LuaExportAfterNextFrame()
    pcall(afterNextFrame)
    if previousAfterNextFrame then
        previousAfterNextFrame()
    end
end

function LuaExportStop()
    pcall(stop)
    if previousStop then
        previousStop()
    end
end
