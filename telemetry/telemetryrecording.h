#pragma once

#include <QByteArray>
#include <QFile>
#include <QJsonObject>
#include <QString>
#include <cstdint>

// The telemetry recording file (docs/recordings.md): a fixed preamble, a JSON description of the layout,
// then records back to back, each a 14-byte little-endian head and its payload exactly as it arrived.
// A file may end after any complete record, so one cut short by a killed program still reads.
namespace TelemetryRecording {

constexpr char Magic[8] = {'Q', 'U', 'I', 'L', 'L', 'R', 'E', 'C'};
constexpr uint32_t FormatVersion = 1;
constexpr int PreambleSize = 16;           // magic, version, description length
constexpr uint32_t MaxDescriptionSize = 65536;
constexpr int RecordHeadSize = 14;         // payload length, arrival time, source, kind
// Far above any datagram, War Thunder document or SimConnect block; a larger length means a damaged file.
constexpr uint32_t MaxPayloadSize = 16 * 1024 * 1024;

enum class Kind : uint8_t { UdpDatagram = 1, HttpBody = 2, MsfsDataBlock = 3 };

struct Record {
    int64_t micros = 0; // arrival time since the recording started
    uint8_t source = 0; // Telemetry::Source value, 1 to 5
    Kind kind = Kind::UdpDatagram;
    QByteArray payload;

    bool operator==(const Record &other) const {
        return micros == other.micros && source == other.source && kind == other.kind && payload == other.payload;
    }
};

// Preamble and description of a new file.
QByteArray fileHeader();
// One record as it goes to the file; `out` is reused so the recorder allocates only while it grows.
void encodeRecord(int64_t micros, uint8_t source, Kind kind, const char *data, qsizetype size, QByteArray &out);
QByteArray encodeRecord(const Record &record);

// Reads a recording from memory, checking every record before it hands it out.
class Reader {
public:
    // False with error() set when the bytes do not start as a recording of a version this program reads.
    bool open(const char *data, qint64 size);
    // The next record; false at the clean end of the file, or with error() set at damage or a cut-off record.
    bool next(Record &record);
    // Back to the first record.
    void rewind() { position = firstRecord; previousMicros = 0; index = 0; }
    const QString &error() const { return errorText; }
    const QJsonObject &description() const { return descriptionObject; }
    qint64 recordsRead() const { return index; }

private:
    bool fail(const QString &text);

    const char *bytes = nullptr;
    qint64 length = 0;
    qint64 firstRecord = 0;
    qint64 position = 0;
    int64_t previousMicros = 0;
    qint64 index = 0;
    QString errorText;
    QJsonObject descriptionObject;
};

// A recording read into memory and checked whole, so a damaged file is refused before anything is sent. Files,
// pipes and anything else open() takes are read the same way, to their end.
class RecordingFile {
public:
    bool open(const QString &path);
    Reader &reader() { return fileReader; }
    const QString &error() const { return errorText; }
    qint64 recordCount() const { return count; }
    // From the first record to the last: what a replay, which starts at the first record, plays.
    int64_t durationMicros() const { return lastMicros - firstMicros; }
    int64_t firstRecordMicros() const { return firstMicros; }

private:
    QFile file;
    QByteArray bytes;
    Reader fileReader;
    QString errorText;
    qint64 count = 0;
    int64_t firstMicros = 0;
    int64_t lastMicros = 0;
};

QString sourceName(uint8_t source);

} // namespace TelemetryRecording
