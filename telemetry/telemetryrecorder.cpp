#include "telemetryrecorder.h"

#include <QFile>
#include <QLoggingCategory>
#include <QNetworkReply>
#include <chrono>
#include <cerrno>

#ifdef Q_OS_UNIX
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

Q_LOGGING_CATEGORY(lcRecorder, "quillar.telemetry.recorder")

namespace {

int64_t steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// The recording file as the writer sees it: opened without ever blocking, written in whole, cut back.
// Plain descriptors on Unix, so a failed write reports its own errno; QFile elsewhere.
#ifdef Q_OS_UNIX
bool openFile(const QString &path, intptr_t *handle, QString *why) {
    const QByteArray name = QFile::encodeName(path);
    struct stat status {};
    const auto notRegular = [&] {
        *why = QStringLiteral("not a regular file (a recording is written to a file, not to a pipe or device)");
        return false;
    };
    // Looked at before opening: opening a FIFO for writing waits for a reader, a device may do anything.
    if (::stat(name.constData(), &status) == 0 && !S_ISREG(status.st_mode))
        return notRegular();
    // Non-blocking all the same, in case something else was put at the path in between.
    const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) {
        *why = TelemetryRecorder::writeErrorText(errno);
        return false;
    }
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(fd);
        return notRegular();
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    *handle = fd;
    return true;
}

// Writes all of `data`; on failure the bytes that did go out are in `done` and the reason in `why`.
bool writeAll(intptr_t handle, const char *data, qint64 size, qint64 *done, QString *why) {
    *done = 0;
    while (*done < size) {
        const ssize_t n = ::write(int(handle), data + *done, size_t(size - *done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            *why = TelemetryRecorder::writeErrorText(n < 0 ? errno : ENOSPC);
            return false;
        }
        *done += n;
    }
    return true;
}

void cutBack(intptr_t handle, qint64 size) {
    if (::ftruncate(int(handle), off_t(size)) != 0)
        qCWarning(lcRecorder) << "could not cut the recording back to its last whole record:"
                              << TelemetryRecorder::writeErrorText(errno);
}

void closeFile(intptr_t handle) {
    ::close(int(handle));
}
#else
bool openFile(const QString &path, intptr_t *handle, QString *why) {
    auto *file = new QFile(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        *why = file->errorString();
        delete file;
        return false;
    }
    *handle = reinterpret_cast<intptr_t>(file);
    return true;
}

bool writeAll(intptr_t handle, const char *data, qint64 size, qint64 *done, QString *why) {
    auto *file = reinterpret_cast<QFile *>(handle);
    *done = 0;
    while (*done < size) {
        const qint64 n = file->write(data + *done, size - *done);
        if (n <= 0) {
            *why = file->error() == QFileDevice::ResourceError ? QStringLiteral("disk full") : file->errorString();
            return false;
        }
        *done += n;
    }
    return true;
}

void cutBack(intptr_t handle, qint64 size) {
    reinterpret_cast<QFile *>(handle)->resize(size);
}

void closeFile(intptr_t handle) {
    delete reinterpret_cast<QFile *>(handle);
}
#endif

} // namespace

TelemetryRecorder &TelemetryRecorder::instance() {
    // Never destroyed: sources on other threads may still hand in records while the process ends.
    static TelemetryRecorder *recorder = new TelemetryRecorder;
    return *recorder;
}

QString TelemetryRecorder::writeErrorText(int errorNumber) {
    if (errorNumber == ENOSPC)
        return QStringLiteral("disk full");
    return qt_error_string(errorNumber);
}

void TelemetryRecorder::ignoreBrokenPipes() {
#ifdef Q_OS_UNIX
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    ::sigaction(SIGPIPE, &ignore, nullptr);
#endif
}

bool TelemetryRecorder::start(const QString &path, QString *error) {
    stop();
    intptr_t opened = -1;
    QString why;
    const QByteArray header = TelemetryRecording::fileHeader();
    qint64 done = 0;
    if (!openFile(path, &opened, &why)) {
        if (error)
            *error = QStringLiteral("cannot record to %1: %2").arg(path, why);
        return false;
    }
    if (!writeAll(opened, header.constData(), header.size(), &done, &why)) {
        closeFile(opened);
        if (error)
            *error = QStringLiteral("cannot record to %1: %2").arg(path, why);
        return false;
    }
    std::lock_guard<std::mutex> lock(mutex);
    filePath = path;
    handle = opened;
    queue.clear();
    queueEnds.clear();
    closing = false;
    writing = false;
    endReason.clear();
    accepted = header.size();
    dropped.store(0, std::memory_order_relaxed);
    startedNs = steadyNs();
    const qint64 headerBytes = header.size();
    writer = std::thread([this, headerBytes] { writerLoop(headerBytes); });
    recording.store(true, std::memory_order_release);
    qCInfo(lcRecorder) << "recording telemetry to" << path;
    return true;
}

void TelemetryRecorder::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        recording.store(false, std::memory_order_release);
        closing = true;
        held = false;
    }
    wake.notify_all();
    if (writer.joinable())
        writer.join();
}

QString TelemetryRecorder::path() const {
    std::lock_guard<std::mutex> lock(mutex);
    return filePath;
}

void TelemetryRecorder::setLimitBytes(qint64 bytes) {
    std::lock_guard<std::mutex> lock(mutex);
    limit = bytes;
}

void TelemetryRecorder::setQueueLimitBytes(qint64 bytes) {
    std::lock_guard<std::mutex> lock(mutex);
    queueLimit = bytes;
}

void TelemetryRecorder::holdWriter(bool on) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        held = on;
    }
    wake.notify_all();
}

void TelemetryRecorder::flush() {
    std::unique_lock<std::mutex> lock(mutex);
    const quint64 ticket = ++flushRequests;
    wake.notify_all();
    progress.wait(lock, [&] { return handle == -1 || flushServed >= ticket; });
}

void TelemetryRecorder::noteReply(Telemetry::Source source, QNetworkReply *reply) {
    if ((!instance().recording.load(std::memory_order_relaxed) && !TelemetryRing::instance().isEnabled()) || !reply ||
        reply->error() != QNetworkReply::NoError)
        return;
    const QByteArray body = reply->peek(reply->bytesAvailable());
    note(source, TelemetryRecording::Kind::HttpBody, body.constData(), body.size());
}

void TelemetryRecorder::enqueue(Telemetry::Source source, TelemetryRecording::Kind kind, const char *data,
                                qint64 size) {
    if (size < 0)
        return;
    if (size > qint64(TelemetryRecording::MaxPayloadSize)) {
        qCWarning(lcRecorder) << "left out a" << size << "byte record from" << TelemetryRecording::sourceName(source)
                              << ": larger than a recording holds";
        return;
    }
    std::unique_lock<std::mutex> lock(mutex);
    if (closing || handle == -1)
        return;
    const qint64 recordBytes = TelemetryRecording::RecordHeadSize + size;
    if (accepted + recordBytes > limit) {
        endReason = QStringLiteral("Recording stopped: %1 reached its size limit of %2 bytes").arg(filePath).arg(limit);
        closing = true;
        recording.store(false, std::memory_order_release);
        lock.unlock();
        wake.notify_all();
        return;
    }
    // A full queue means the disk is behind: the record is left out, never waited for.
    if (!queue.isEmpty() && queue.size() + recordBytes > queueLimit) {
        dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    // Stamped under the lock, so records from different threads reach the file in time order.
    const int64_t micros = (steadyNs() - startedNs) / 1000;
    TelemetryRecording::encodeRecord(micros, uint8_t(source), kind, data, size, scratch);
    queue.append(scratch);
    queueEnds.push_back(queue.size());
    accepted += recordBytes;
    if (queue.size() >= queueLimit / 2) {
        lock.unlock();
        wake.notify_all();
    }
}

void TelemetryRecorder::writerLoop(qint64 fileBytes) {
    std::unique_lock<std::mutex> lock(mutex);
    QByteArray batch;
    std::vector<qsizetype> batchEnds;
    QString failure;
    for (;;) {
        wake.wait_for(lock, std::chrono::milliseconds(WriterPeriodMs), [&] {
            return closing || (!held && (flushRequests != flushServed || queue.size() >= queueLimit / 2));
        });
        if (held && !closing)
            continue;
        if (queue.isEmpty()) {
            flushServed = flushRequests;
            progress.notify_all();
            if (closing)
                break;
            continue;
        }
        // Everything queued before these flush requests is in this batch.
        const quint64 covered = flushRequests;
        batch.swap(queue);
        batchEnds.swap(queueEnds);
        writing = true;
        lock.unlock();

        qint64 done = 0;
        const bool whole = writeAll(handle, batch.constData(), batch.size(), &done, &failure);
        if (!whole) {
            // A partial record would end the readable part of the file; cut it off again.
            qsizetype kept = 0;
            for (const qsizetype end : batchEnds)
                if (end <= done)
                    kept = end;
            cutBack(handle, fileBytes + kept);
        }
        fileBytes += whole ? batch.size() : 0;
        batch.resize(0);
        batchEnds.clear();

        lock.lock();
        writing = false;
        flushServed = covered;
        progress.notify_all();
        if (!whole) {
            endReason = QStringLiteral("Recording stopped: cannot write %1: %2").arg(filePath, failure);
            closing = true;
            recording.store(false, std::memory_order_release);
            queue.clear();
            queueEnds.clear();
            break;
        }
    }
    closeFile(handle);
    handle = -1;
    const QString reason = endReason;
    const qint64 left = dropped.load(std::memory_order_relaxed);
    progress.notify_all();
    lock.unlock();
    if (left > 0)
        qCWarning(lcRecorder) << left << "records were left out of the recording: the disk could not keep up";
    if (!reason.isEmpty()) {
        qCWarning(lcRecorder).noquote() << reason;
        emit stopped(reason);
    }
}
