#include "logfilesink.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QtGlobal>
#include <atomic>
#include <cstdio>

namespace {

std::atomic<LogFileSink *> installedSink{nullptr};
QtMessageHandler previousHandler = nullptr;

void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message) {
    if (LogFileSink *sink = installedSink.load(std::memory_order_acquire))
        sink->append(
            LogFileSink::formatLine(type, context.category, message, QDateTime::currentMSecsSinceEpoch()));
    if (previousHandler)
        previousHandler(type, context, message);
}

const char *levelName(QtMsgType type) {
    switch (type) {
    case QtDebugMsg:
        return "debug";
    case QtInfoMsg:
        return "info";
    case QtWarningMsg:
        return "warning";
    case QtCriticalMsg:
        return "critical";
    case QtFatalMsg:
        return "fatal";
    }
    return "log";
}

} // namespace

LogFileSink::LogFileSink(const QString &folder, qint64 rotateBytes, int keep, ErrorOutput errorOutput)
    : folderPath(folder), path(QDir(folder).filePath(QLatin1String(FileName))), rotateAt(rotateBytes),
      keepFiles(qMax(0, keep)), reportError(std::move(errorOutput)) {
    if (!reportError)
        reportError = [](const QString &line) {
            std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
            std::fflush(stderr);
        };
    // Opened here, so a folder that cannot be written is known (and said) before the program gets going.
    if (!openFile())
        return;
    writer = std::thread([this] { run(); });
}

LogFileSink::~LogFileSink() {
    if (installedSink.load() == this)
        install(nullptr);
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    wake.notify_all();
    if (writer.joinable())
        writer.join();
    delete file;
}

QString LogFileSink::defaultFolder() {
#ifdef Q_OS_WIN
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
        .filePath(QStringLiteral("vortane-quillar"));
#else
    // The XDG base directory rule: an unset or relative XDG_STATE_HOME means ~/.local/state.
    QString base = qEnvironmentVariable("XDG_STATE_HOME");
    if (base.isEmpty() || QDir::isRelativePath(base))
        base = QDir::home().filePath(QStringLiteral(".local/state"));
    return QDir(base).filePath(QStringLiteral("vortane-quillar"));
#endif
}

QByteArray LogFileSink::formatLine(QtMsgType type, const char *category, const QString &message,
                                   qint64 msecsSinceEpoch) {
    QByteArray line = QDateTime::fromMSecsSinceEpoch(msecsSinceEpoch, Qt::UTC)
                          .toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzzZ"))
                          .toLatin1();
    line += ' ';
    line += levelName(type);
    line += ' ';
    line += (category && *category) ? category : "default";
    line += ": ";
    QByteArray text = message.toUtf8();
    // One message, one line: a message with line breaks keeps them as visible "\n".
    text.replace('\n', "\\n");
    line += text;
    line += '\n';
    return line;
}

void LogFileSink::install(LogFileSink *sink) {
    LogFileSink *before = installedSink.exchange(sink, std::memory_order_acq_rel);
    if (sink && !before)
        previousHandler = qInstallMessageHandler(messageHandler);
    else if (!sink && before)
        qInstallMessageHandler(previousHandler);
}

bool LogFileSink::isWriting() const {
    std::lock_guard<std::mutex> lock(mutex);
    return !failed;
}

void LogFileSink::append(const QByteArray &line) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (failed || stopping)
            return;
        ++appended;
        if (queuedBytes + line.size() > MaxQueuedBytes) {
            ++droppedLines;
            ++done;
            return;
        }
        queue.push_back(line);
        queuedBytes += line.size();
    }
    wake.notify_one();
}

void LogFileSink::flush() {
    std::unique_lock<std::mutex> lock(mutex);
    const quint64 target = appended;
    drained.wait(lock, [&] { return failed || done >= target || !writer.joinable(); });
}

bool LogFileSink::openFile() {
    if (!QDir().mkpath(folderPath)) {
        fail(QStringLiteral("cannot make the log folder %1").arg(folderPath));
        return false;
    }
    if (!file)
        file = new QFile(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) {
        fail(QStringLiteral("cannot write the log file %1: %2").arg(path, file->errorString()));
        return false;
    }
    fileSize = file->size();
    return true;
}

void LogFileSink::rotate() {
    file->close();
    // quillar.log.3 goes, .2 becomes .3, .1 becomes .2, the current file becomes .1.
    const QString oldest = path + QLatin1Char('.') + QString::number(keepFiles);
    QFile::remove(oldest);
    for (int index = keepFiles - 1; index >= 1; --index)
        QFile::rename(path + QLatin1Char('.') + QString::number(index),
                      path + QLatin1Char('.') + QString::number(index + 1));
    if (keepFiles > 0)
        QFile::rename(path, path + QStringLiteral(".1"));
    else
        QFile::remove(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        fail(QStringLiteral("cannot write the log file %1: %2").arg(path, file->errorString()));
        return;
    }
    fileSize = 0;
}

void LogFileSink::fail(const QString &reason) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (failed)
            return;
        failed = true;
        queue.clear();
        queuedBytes = 0;
    }
    drained.notify_all();
    reportError(QStringLiteral("quillar: %1; the log goes to standard error only").arg(reason));
}

void LogFileSink::run() {
    std::vector<QByteArray> batch;
    for (;;) {
        quint64 dropped = 0;
        {
            std::unique_lock<std::mutex> lock(mutex);
            wake.wait(lock, [&] { return stopping || !queue.empty() || droppedLines > 0; });
            if (failed)
                return;
            if (queue.empty() && droppedLines == 0 && stopping)
                return;
            batch.swap(queue);
            queuedBytes = 0;
            dropped = droppedLines;
            droppedLines = 0;
        }
        if (dropped > 0)
            batch.insert(batch.begin(),
                         QByteArrayLiteral("(") + QByteArray::number(dropped) +
                             QByteArrayLiteral(" log lines were lost: the disk did not keep up)\n"));
        const quint64 count = batch.size() - (dropped > 0 ? 1 : 0);
        for (const QByteArray &line : batch) {
            if (rotateAt > 0 && fileSize > 0 && fileSize + line.size() > rotateAt) {
                file->flush();
                rotate();
                if (!file->isOpen())
                    return;
            }
            if (file->write(line) != line.size()) {
                fail(QStringLiteral("cannot write the log file %1: %2").arg(path, file->errorString()));
                return;
            }
            fileSize += line.size();
        }
        if (!file->flush()) {
            fail(QStringLiteral("cannot write the log file %1: %2").arg(path, file->errorString()));
            return;
        }
        batch.clear();
        {
            std::lock_guard<std::mutex> lock(mutex);
            done += count;
        }
        drained.notify_all();
    }
}
