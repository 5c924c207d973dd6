#pragma once

#include "telemetry.h"
#include "telemetryrecording.h"
#include "telemetryring.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

class QNetworkReply;

// Writes what the sources receive to a recording file (docs/recordings.md). One process-wide recorder: the
// sources hand it every datagram, HTTP body and SimConnect block with one call, which costs a single atomic
// load while nothing is being recorded.
//
// The sources never wait for the disk. A record is stamped and put on a bounded queue; a writer thread of
// the recorder's own takes the queue at least every WriterPeriodMs and writes it to the file, so a killed
// program leaves everything up to about that long before the kill on disk (in the kernel's page cache), and
// the file always ends after a complete record. When the disk cannot keep up and the queue is full, records
// are left out and counted rather than waited for.
class TelemetryRecorder : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 DefaultLimitBytes = qint64(1) << 30;
    // Bytes waiting for the writer before records are left out: minutes of any simulator's telemetry.
    static constexpr qint64 DefaultQueueLimitBytes = qint64(8) << 20;
    // The writer takes what is queued at least this often (well inside the 100 ms a kill may cost).
    static constexpr int WriterPeriodMs = 20;

    static TelemetryRecorder &instance();

    // Starts a new file at `path` (replacing one that exists); false with `error` set when it cannot be made.
    // Only regular files are taken: a FIFO or device is refused without ever waiting for a reader.
    bool start(const QString &path, QString *error = nullptr);
    // Ends the recording after the writer has put every queued record into the file.
    void stop();
    bool isRecording() const { return recording.load(std::memory_order_acquire); }
    QString path() const;
    // A recording stops cleanly before a record would take the file beyond this size.
    void setLimitBytes(qint64 bytes);
    void setQueueLimitBytes(qint64 bytes);
    // Records of the current (or last) recording left out because the queue was full.
    qint64 droppedRecords() const { return dropped.load(std::memory_order_relaxed); }
    // Waits until the writer has written everything queued so far (for tests and orderly shutdowns); not
    // while the writer is held.
    void flush();
    // While held, the writer takes nothing from the queue, as a disk that has stopped answering. For tests.
    void holdWriter(bool held);

    // The text a failed write is reported with: "disk full" for a full disk, the system's words otherwise.
    static QString writeErrorText(int errorNumber);
    // A reader that goes away from a pipe or socket must not end the program: write() then fails with EPIPE
    // instead of the process being killed by SIGPIPE. Called once at start-up; nothing on Windows.
    static void ignoreBrokenPipes();

    static void note(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data, qint64 size) {
        TelemetryRing::note(source, kind, data, size); // the last minute, for the support bundle
        TelemetryRecorder &recorder = instance();
        if (recorder.recording.load(std::memory_order_relaxed))
            recorder.enqueue(source, kind, data, size);
    }
    static void noteDatagram(Telemetry::Source source, const QByteArray &datagram, qint64 size) {
        note(source, TelemetryRecording::Kind::UdpDatagram, datagram.constData(), size);
    }
    // The body of a finished reply, left unread for the source's own decoder; failed replies have no body.
    static void noteReply(Telemetry::Source source, QNetworkReply *reply);

signals:
    // A recording ended by itself (size limit, full disk); the text says why. Emitted from the writer thread.
    void stopped(QString message);

private:
    TelemetryRecorder() = default;
    void enqueue(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data, qint64 size);
    // `fileBytes`: what the file holds when the writer starts (the header).
    void writerLoop(qint64 fileBytes);

    std::atomic<bool> recording{false};
    std::atomic<qint64> dropped{0};

    mutable std::mutex mutex;
    std::condition_variable wake;     // to the writer: work, a flush or the end
    std::condition_variable progress; // from the writer: a batch is written
    std::thread writer;
    // All below under `mutex`.
    QString filePath;
    intptr_t handle = -1; // the open file: a descriptor, or on Windows a QFile*
    QByteArray queue;
    std::vector<qsizetype> queueEnds; // where each queued record ends, so a failure can cut back to one
    QByteArray scratch;
    bool closing = false;  // no more records are taken; the writer ends after writing the queue
    bool held = false;
    bool writing = false;  // the writer holds a batch taken off the queue
    quint64 flushRequests = 0;
    quint64 flushServed = 0; // the writer has written everything queued before this many flush() calls
    QString endReason;     // why the recording ended by itself, for stopped()
    qint64 accepted = 0;   // bytes queued or written: header and every record taken
    qint64 limit = DefaultLimitBytes;
    qint64 queueLimit = DefaultQueueLimitBytes;
    int64_t startedNs = 0;
};
