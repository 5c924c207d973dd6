// The preload build of the hidapi double: loaded with LD_PRELOAD over the real libhidapi-hidraw, it is steered
// by files in the folder named by QUILLAR_HID_DOUBLE_DIR and logs every call there. The file protocol is
// described in hidapidouble_preload.md.

#include "hidapidouble.h"
#include "hidapidouble_p.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using HidApiDouble::Call;
using HidApiDouble::Device;

uint64_t monotonicMicros() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

const char *deviceName(Device device) {
    switch (device) {
    case Device::Joystick:
        return "joystick";
    case Device::Rudder:
        return "rudder";
    default:
        return "none";
    }
}

const char *callName(Call call) {
    switch (call) {
    case Call::Init:
        return "init";
    case Call::Exit:
        return "exit";
    case Call::Open:
        return "open";
    case Call::GetFeatureReport:
        return "get_feature_report";
    case Call::Write:
        return "write";
    case Call::Close:
        return "close";
    }
    return "unknown";
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
        s.remove_suffix(1);
    return s;
}

// Splits off the next blank-separated word.
std::string_view nextWord(std::string_view &s) {
    s = trim(s);
    std::size_t end = s.find_first_of(" \t");
    if (end == std::string_view::npos)
        end = s.size();
    std::string_view word = s.substr(0, end);
    s.remove_prefix(end);
    return word;
}

// from_chars: the application switches the C locale to the user's, where strtof would want a decimal comma.
bool parseFloat(std::string_view word, float &out) {
    if (!word.empty() && word.front() == '+')
        word.remove_prefix(1);
    float value = 0;
    const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (ec != std::errc() || end != word.data() + word.size())
        return false;
    out = value;
    return true;
}

bool parseInt(std::string_view word, int base, long long &out) {
    if (base == 16 && word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X'))
        word.remove_prefix(2);
    long long value = 0;
    const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value, base);
    if (ec != std::errc() || end != word.data() + word.size() || word.empty())
        return false;
    out = value;
    return true;
}

bool parseResult(std::string_view word, int &out) {
    if (word == "full") {
        out = HidApiDouble::FullLength;
        return true;
    }
    if (word == "fail") {
        out = -1;
        return true;
    }
    long long value = 0;
    if (!parseInt(word, 10, value) || value < -1000000 || value > 1000000)
        return false;
    out = static_cast<int>(value);
    return true;
}

struct DeviceFile {
    bool exists = false;
    dev_t fileDevice = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    long long generation = 0;
};

class PreloadController final : public HidApiDouble::detail::Observer {
public:
    PreloadController() {
        HidApiDouble::setRecording(false); // nothing kept in memory: the program may run for hours
        const char *dir = std::getenv("QUILLAR_HID_DOUBLE_DIR");
        if (!dir || !*dir)
            return; // no folder: both devices stay unplugged and nothing is logged
        folder = dir;
        // QUILLAR_HID_DOUBLE_LOG=0: the devices as usual, but no log lines, so a measurement of the program's
        // cost does not charge it with the double's own bookkeeping.
        const char *log = std::getenv("QUILLAR_HID_DOUBLE_LOG");
        logging = !(log && std::strcmp(log, "0") == 0);
        if (logging) {
            writesLog = openLog("writes.log");
            callsLog = openLog("calls.log");
        }
        HidApiDouble::detail::setObserver(this);
    }

    void beforeCall() override {
        std::lock_guard lock(mutex);
        // At most one look at the files per millisecond: the program makes four or more calls per 10 ms cycle,
        // and the double should cost it as little as a real device does.
        const uint64_t now = monotonicMicros();
        if (checkedOnce && now - lastCheck < 1000)
            return;
        checkedOnce = true;
        lastCheck = now;
        refresh(Device::Joystick, files[0]);
        refresh(Device::Rudder, files[1]);
    }

    void afterCall(Call call, Device device, int result, unsigned short productId, const unsigned char *bytes,
                   std::size_t length) override {
        if (!logging)
            return;
        // One write(2) per line on an O_APPEND descriptor, so lines never interleave.
        char line[64 + 3 * 256];
        const unsigned long long micros = monotonicMicros();
        if (call == Call::Write) {
            int n = std::snprintf(line, sizeof line, "%llu %s ", micros, deviceName(device));
            n += appendHex(line + n, sizeof line - static_cast<std::size_t>(n), bytes, length);
            n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), " result=%d seq=%llu\n", result,
                               ++sequence);
            emitLine(writesLog, line, n);
            return;
        }
        int n = std::snprintf(line, sizeof line, "%llu %s %s result=%d seq=%llu", micros, callName(call),
                              deviceName(device), result, ++sequence);
        if (call == Call::Open)
            n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), " product=%04x", productId);
        if (call == Call::GetFeatureReport && bytes && length > 0) {
            n += std::snprintf(line + n, sizeof line - static_cast<std::size_t>(n), " report=%02x bytes=",
                               static_cast<unsigned>(bytes[0]));
            n += appendHex(line + n, sizeof line - static_cast<std::size_t>(n), bytes,
                           length < 17 ? length : std::size_t{17});
        }
        line[n++] = '\n';
        emitLine(callsLog, line, n);
    }

private:
    int openLog(const char *name) const {
        const std::string path = folder + "/" + name;
        return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    }

    static int appendHex(char *out, std::size_t room, const unsigned char *bytes, std::size_t length) {
        static const char digits[] = "0123456789abcdef";
        std::size_t n = 0;
        for (std::size_t i = 0; i < length && n + 3 < room && i < 256; ++i) {
            out[n++] = digits[bytes[i] >> 4];
            out[n++] = digits[bytes[i] & 0xf];
        }
        out[n] = '\0';
        return static_cast<int>(n);
    }

    static void emitLine(int fd, const char *line, int length) {
        if (fd >= 0 && length > 0) {
            const ssize_t written = ::write(fd, line, static_cast<std::size_t>(length));
            (void)written; // a full disk only loses log lines
        }
    }

    void refresh(Device device, DeviceFile &known) {
        const std::string path = folder + (device == Device::Joystick ? "/joystick.state" : "/rudder.state");
        struct stat info {};
        const bool exists = ::stat(path.c_str(), &info) == 0;
        if (!exists) {
            if (known.exists)
                HidApiDouble::setPlugged(device, false);
            known = DeviceFile{};
            return;
        }
        if (known.exists && known.fileDevice == info.st_dev && known.inode == info.st_ino &&
            known.size == info.st_size && known.modified.tv_sec == info.st_mtim.tv_sec &&
            known.modified.tv_nsec == info.st_mtim.tv_nsec)
            return;
        const bool wasThere = known.exists;
        known.exists = true;
        known.fileDevice = info.st_dev;
        known.inode = info.st_ino;
        known.size = info.st_size;
        known.modified = info.st_mtim;
        apply(device, path, known, wasThere);
    }

    static void apply(Device device, const std::string &path, DeviceFile &known, bool wasThere) {
        std::FILE *file = std::fopen(path.c_str(), "re");
        if (!file)
            return;
        char text[4096];
        const std::size_t size = std::fread(text, 1, sizeof text - 1, file);
        std::fclose(file);
        text[size] = '\0';

        bool plugged = true;
        long long generation = known.generation;
        unsigned char version[3] = {0, 0, 0};
        float position[2] = {0, 0};
        float offset[2] = {0, 0};
        int readResult = HidApiDouble::FullLength;
        int writeResult = HidApiDouble::FullLength;

        std::string_view rest(text, size);
        while (!rest.empty()) {
            std::size_t end = rest.find('\n');
            if (end == std::string_view::npos)
                end = rest.size();
            std::string_view line = trim(rest.substr(0, end));
            rest.remove_prefix(end < rest.size() ? end + 1 : end);
            const std::size_t equals = line.find('=');
            if (line.empty() || line.front() == '#' || equals == std::string_view::npos)
                continue;
            const std::string_view key = trim(line.substr(0, equals));
            std::string_view value = line.substr(equals + 1);
            long long number = 0;
            if (key == "plugged") {
                if (parseInt(trim(value), 10, number))
                    plugged = number != 0;
            } else if (key == "generation") {
                if (parseInt(trim(value), 10, number))
                    generation = number;
            } else if (key == "version") {
                for (unsigned char &byte : version) {
                    if (parseInt(nextWord(value), 16, number) && number >= 0 && number <= 255)
                        byte = static_cast<unsigned char>(number);
                }
            } else if (key == "position" || key == "offset") {
                float *target = key == "position" ? position : offset;
                for (int i = 0; i < 2; ++i) {
                    const std::string_view word = nextWord(value);
                    if (!word.empty())
                        parseFloat(word, target[i]);
                }
            } else if (key == "read") {
                parseResult(trim(value), readResult);
            } else if (key == "write") {
                parseResult(trim(value), writeResult);
            }
        }

        // A new generation number is a re-plug, even if no poll saw the device unplugged in between.
        if (wasThere && generation != known.generation)
            HidApiDouble::setPlugged(device, false);
        known.generation = generation;
        HidApiDouble::setVersionBytes(device, version[0], version[1], version[2]);
        HidApiDouble::setPosition(device, position[0], position[1], offset[0], offset[1]);
        HidApiDouble::setFeatureReportResult(device, readResult);
        HidApiDouble::setWriteResult(device, writeResult);
        HidApiDouble::setPlugged(device, plugged);
    }

    std::string folder;
    int writesLog = -1;
    int callsLog = -1;
    bool logging = true;
    unsigned long long sequence = 0;
    std::mutex mutex;
    bool checkedOnce = false;
    uint64_t lastCheck = 0;
    DeviceFile files[2];
};

// Never destroyed: the program's threads may still call hidapi while the process exits.
PreloadController *const controller = new PreloadController;

} // namespace
