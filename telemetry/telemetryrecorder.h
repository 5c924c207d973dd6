#pragma once

#include "telemetry.h"
#include "telemetryrecording.h"
#include "telemetryring.h"

#include <QByteArray>
#include <QFile>
#include <QMutex>
#include <QObject>
#include <atomic>

class QNetworkReply;

// Writes what the sources receive to a recording file (docs/recordings.md). One process-wide recorder: the
// sources hand it every datagram, HTTP body and SimConnect block with one call, which costs a single atomic
// load while nothing is being recorded. Every record goes to the file in one unbuffered write as it arrives,
// so a killed program leaves a file that ends after its last complete record.
class TelemetryRecorder : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 DefaultLimitBytes = qint64(1) << 30;

    static TelemetryRecorder &instance();

    // Starts a new file at `path` (replacing one that exists); false with `error` set when it cannot be made.
    bool start(const QString &path, QString *error = nullptr);
    void stop();
    bool isRecording() const { return recording.load(std::memory_order_acquire); }
    QString path() const;
    // A recording stops cleanly before a record would take the file beyond this size.
    void setLimitBytes(qint64 bytes);

    static void note(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data, qint64 size) {
        TelemetryRing::note(source, kind, data, size); // the last minute, for the support bundle
        TelemetryRecorder &recorder = instance();
        if (recorder.recording.load(std::memory_order_relaxed))
            recorder.write(source, kind, data, size);
    }
    static void noteDatagram(Telemetry::Source source, const QByteArray &datagram, qint64 size) {
        note(source, TelemetryRecording::Kind::UdpDatagram, datagram.constData(), size);
    }
    // The body of a finished reply, left unread for the source's own decoder; failed replies have no body.
    static void noteReply(Telemetry::Source source, QNetworkReply *reply);

signals:
    // A recording ended by itself (size limit, full disk); the text says why. Emitted from the recording thread.
    void stopped(QString message);

private:
    TelemetryRecorder() = default;
    void write(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data, qint64 size);
    void closeLocked();

    std::atomic<bool> recording{false};
    mutable QMutex mutex;
    QFile file;
    QByteArray buffer;
    qint64 written = 0;
    qint64 limit = DefaultLimitBytes;
    int64_t startedNs = 0;
};
