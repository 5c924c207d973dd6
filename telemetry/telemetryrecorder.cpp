#include "telemetryrecorder.h"

#include <QLoggingCategory>
#include <QNetworkReply>
#include <chrono>

Q_LOGGING_CATEGORY(lcRecorder, "quillar.telemetry.recorder")

namespace {
int64_t steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

TelemetryRecorder &TelemetryRecorder::instance() {
    static TelemetryRecorder recorder;
    return recorder;
}

bool TelemetryRecorder::start(const QString &path, QString *error) {
    QMutexLocker locker(&mutex);
    closeLocked();
    file.setFileName(path);
    // Unbuffered: each record is one write(2), in the file (the kernel's page cache) the moment it arrives.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        if (error)
            *error = QStringLiteral("cannot record to %1: %2").arg(path, file.errorString());
        return false;
    }
    const QByteArray header = TelemetryRecording::fileHeader();
    if (file.write(header) != header.size()) {
        if (error)
            *error = QStringLiteral("cannot record to %1: %2").arg(path, file.errorString());
        file.close();
        return false;
    }
    written = header.size();
    startedNs = steadyNs();
    recording.store(true, std::memory_order_release);
    qCInfo(lcRecorder) << "recording telemetry to" << path;
    return true;
}

void TelemetryRecorder::stop() {
    QMutexLocker locker(&mutex);
    closeLocked();
}

void TelemetryRecorder::closeLocked() {
    recording.store(false, std::memory_order_release);
    if (file.isOpen())
        file.close();
}

QString TelemetryRecorder::path() const {
    QMutexLocker locker(&mutex);
    return file.fileName();
}

void TelemetryRecorder::setLimitBytes(qint64 bytes) {
    QMutexLocker locker(&mutex);
    limit = bytes;
}

void TelemetryRecorder::noteReply(Telemetry::Source source, QNetworkReply *reply) {
    if ((!instance().recording.load(std::memory_order_relaxed) && !TelemetryRing::instance().isEnabled()) || !reply ||
        reply->error() != QNetworkReply::NoError)
        return;
    const QByteArray body = reply->peek(reply->bytesAvailable());
    note(source, TelemetryRecording::Kind::HttpBody, body.constData(), body.size());
}

void TelemetryRecorder::write(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data,
                              qint64 size) {
    QMutexLocker locker(&mutex);
    if (!file.isOpen() || size < 0)
        return;
    QString reason;
    if (size > qint64(TelemetryRecording::MaxPayloadSize)) {
        qCWarning(lcRecorder) << "left out a" << size << "byte record from" << TelemetryRecording::sourceName(source)
                              << ": larger than a recording holds";
        return;
    }
    if (written + TelemetryRecording::RecordHeadSize + size > limit) {
        reason = QStringLiteral("Recording stopped: %1 reached its size limit of %2 bytes")
                     .arg(file.fileName())
                     .arg(limit);
    } else {
        const int64_t micros = (steadyNs() - startedNs) / 1000;
        TelemetryRecording::encodeRecord(micros, uint8_t(source), kind, data, size, buffer);
        const qint64 result = file.write(buffer);
        if (result == buffer.size()) {
            written += result;
            return;
        }
        reason = QStringLiteral("Recording stopped: cannot write %1: %2").arg(file.fileName(), file.errorString());
        // A partial record would end the readable part of the file; cut it off again.
        file.resize(written);
    }
    closeLocked();
    qCWarning(lcRecorder).noquote() << reason;
    locker.unlock();
    emit stopped(reason);
}
