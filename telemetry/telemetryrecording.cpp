#include "telemetryrecording.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtEndian>
#include <cstring>

namespace TelemetryRecording {

namespace {

void appendLittle32(QByteArray &out, uint32_t value) {
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

QJsonObject newDescription() {
    return QJsonObject{
        {"format", "Vortane Quillar telemetry recording"},
        {"format_version", int(FormatVersion)},
        {"created_utc", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {"byte_order", "little-endian"},
        {"record_fields",
         QJsonArray{QJsonObject{{"name", "payload_length"}, {"type", "uint32"}},
                    QJsonObject{{"name", "arrival_time"}, {"type", "int64"}, {"unit", "microseconds"}},
                    QJsonObject{{"name", "source"}, {"type", "uint8"}},
                    QJsonObject{{"name", "kind"}, {"type", "uint8"}},
                    QJsonObject{{"name", "payload"}, {"type", "bytes"}, {"length", "payload_length"}}}},
        {"sources", QJsonObject{{"1", "MSFS"}, {"2", "DCS"}, {"3", "IL2 SHTURMOVIK"}, {"4", "WARTHUNDER"},
                                {"5", "CONDOR2"}, {"6", "XPLANE"}}},
        {"kinds", QJsonObject{{"1", "udp datagram"}, {"2", "http body"}, {"3", "msfs data block"}}},
    };
}

} // namespace

QString sourceName(uint8_t source) {
    static const char *const names[] = {"none", "MSFS", "DCS", "IL2 SHTURMOVIK", "WARTHUNDER", "CONDOR2", "XPLANE"};
    return source < 7 ? QString::fromLatin1(names[source]) : QStringLiteral("unknown");
}

QByteArray fileHeader() {
    const QByteArray description = QJsonDocument(newDescription()).toJson(QJsonDocument::Compact);
    QByteArray out(Magic, sizeof Magic);
    appendLittle32(out, FormatVersion);
    appendLittle32(out, uint32_t(description.size()));
    out.append(description);
    return out;
}

void encodeRecord(int64_t micros, uint8_t source, Kind kind, const char *data, qsizetype size, QByteArray &out) {
    out.resize(RecordHeadSize + size);
    char *head = out.data();
    qToLittleEndian(uint32_t(size), head);
    qToLittleEndian(micros, head + 4);
    head[12] = char(source);
    head[13] = char(kind);
    if (size > 0)
        std::memcpy(head + RecordHeadSize, data, size_t(size));
}

QByteArray encodeRecord(const Record &record) {
    QByteArray out;
    encodeRecord(record.micros, record.source, record.kind, record.payload.constData(), record.payload.size(), out);
    return out;
}

bool Reader::fail(const QString &text) {
    errorText = text;
    return false;
}

bool Reader::open(const char *data, qint64 size) {
    bytes = data;
    length = size;
    errorText.clear();
    if (size < PreambleSize || std::memcmp(data, Magic, sizeof Magic) != 0)
        return fail(QStringLiteral("not a Vortane Quillar telemetry recording (the file does not start with "
                                   "\"QUILLREC\")"));
    const uint32_t version = qFromLittleEndian<uint32_t>(data + 8);
    if (version != FormatVersion)
        return fail(QStringLiteral("recording format version %1; this program reads version %2")
                        .arg(version)
                        .arg(FormatVersion));
    const uint32_t descriptionSize = qFromLittleEndian<uint32_t>(data + 12);
    if (descriptionSize > MaxDescriptionSize)
        return fail(QStringLiteral("damaged recording: the description claims %1 bytes").arg(descriptionSize));
    if (size < PreambleSize + qint64(descriptionSize))
        return fail(QStringLiteral("truncated recording: the file ends inside its description"));
    QJsonParseError parseError;
    const QJsonDocument description =
        QJsonDocument::fromJson(QByteArray(data + PreambleSize, descriptionSize), &parseError);
    if (parseError.error != QJsonParseError::NoError || !description.isObject())
        return fail(QStringLiteral("damaged recording: its description is not a JSON object"));
    descriptionObject = description.object();
    firstRecord = PreambleSize + descriptionSize;
    rewind();
    return true;
}

bool Reader::next(Record &record) {
    if (!bytes || !errorText.isEmpty())
        return false;
    const qint64 left = length - position;
    if (left == 0)
        return false;
    const QString where = QStringLiteral("record %1 at byte %2").arg(index + 1).arg(position);
    if (left < RecordHeadSize)
        return fail(QStringLiteral("truncated recording: the file ends inside %1").arg(where));
    const char *head = bytes + position;
    const uint32_t size = qFromLittleEndian<uint32_t>(head);
    const int64_t micros = qFromLittleEndian<int64_t>(head + 4);
    const uint8_t source = uint8_t(head[12]);
    const uint8_t kind = uint8_t(head[13]);
    if (size > MaxPayloadSize)
        return fail(QStringLiteral("damaged recording: %1 claims %2 bytes").arg(where).arg(size));
    if (source < 1 || source > 6)
        return fail(QStringLiteral("damaged recording: %1 names source %2").arg(where).arg(source));
    if (kind < 1 || kind > 3)
        return fail(QStringLiteral("damaged recording: %1 has kind %2").arg(where).arg(kind));
    if (micros < previousMicros)
        return fail(QStringLiteral("damaged recording: %1 goes back in time").arg(where));
    if (left - RecordHeadSize < qint64(size))
        return fail(QStringLiteral("truncated recording: the file ends inside %1").arg(where));
    record.micros = micros;
    record.source = source;
    record.kind = Kind(kind);
    record.payload = QByteArray(head + RecordHeadSize, size);
    previousMicros = micros;
    position += RecordHeadSize + size;
    ++index;
    return true;
}

bool RecordingFile::open(const QString &path) {
    file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly)) {
        errorText = QStringLiteral("cannot open %1: %2").arg(path, file.errorString());
        return false;
    }
    // Read to the end, by the bytes each read actually returns: a pipe (<(zcat rec.qrec.gz)) has no size to
    // ask for, and a file another program cuts short while it is read simply ends there. Nothing is mapped,
    // so no later truncation can fault.
    bytes.clear();
    constexpr qint64 Chunk = 1024 * 1024;
    for (;;) {
        const qsizetype before = bytes.size();
        bytes.resize(before + Chunk);
        const qint64 got = file.read(bytes.data() + before, Chunk);
        if (got < 0) {
            bytes.clear();
            errorText = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
            return false;
        }
        bytes.resize(before + got);
        if (got == 0)
            break;
    }
    file.close();
    if (!fileReader.open(bytes.constData(), bytes.size())) {
        errorText = QStringLiteral("%1: %2").arg(path, fileReader.error());
        return false;
    }
    Record record;
    while (fileReader.next(record)) {
        if (count == 0)
            firstMicros = record.micros;
        ++count;
        lastMicros = record.micros;
    }
    if (!fileReader.error().isEmpty()) {
        errorText = QStringLiteral("%1: %2").arg(path, fileReader.error());
        return false;
    }
    fileReader.rewind();
    return true;
}

} // namespace TelemetryRecording
