#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QtGlobal>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class QMessageLogContext;

// The program's log file: every line handed to it ends up in <folder>/quillar.log, written by a thread of its
// own so no caller ever waits for the disk. A caller only appends to a queue under a lock held for a pointer
// swap; the device cycle may log through it without its 10 ms rhythm noticing. At `rotateBytes` the file
// becomes quillar.log.1 (the older ones move up to .2 and .3) and a new one starts; `keep` old files stay.
//
// A folder or file that cannot be written gives one line on `errorOutput` (standard error by default) and the
// sink drops everything from then on; the program runs on with its standard-error log.
class LogFileSink {
public:
    static constexpr qint64 DefaultRotateBytes = qint64(5) * 1024 * 1024;
    static constexpr int DefaultKeep = 3;
    // A writer that cannot keep up (a very slow disk) loses lines rather than memory; the loss is noted.
    static constexpr qint64 MaxQueuedBytes = qint64(4) * 1024 * 1024;
    static constexpr const char *FileName = "quillar.log";

    using ErrorOutput = std::function<void(const QString &line)>;

    explicit LogFileSink(const QString &folder, qint64 rotateBytes = DefaultRotateBytes,
                         int keep = DefaultKeep, ErrorOutput errorOutput = {});
    ~LogFileSink();
    LogFileSink(const LogFileSink &) = delete;
    LogFileSink &operator=(const LogFileSink &) = delete;

    // Any thread. `line` should end in a newline.
    void append(const QByteArray &line);
    // Waits until every line appended before the call is in the file (or dropped); for tests and shutdown.
    void flush();

    // False once the folder or file could not be written.
    bool isWriting() const;
    QString filePath() const { return path; }
    QString folder() const { return folderPath; }

    // $XDG_STATE_HOME/vortane-quillar (default ~/.local/state/vortane-quillar); on Windows the local
    // application-data folder's vortane-quillar.
    static QString defaultFolder();

    // "2026-11-25T09:05:51.123Z warning quillar.telemetry.msfs: text\n": UTC time, level, category, message.
    static QByteArray formatLine(QtMsgType type, const char *category, const QString &message,
                                 qint64 msecsSinceEpoch);

    // Sends every Qt log message to `sink` as well as to the handler installed before (standard error). Null:
    // back to the previous handler alone. The sink must outlive its installation.
    static void install(LogFileSink *sink);

private:
    void run();
    bool openFile();
    void rotate();
    void fail(const QString &reason);

    QString folderPath;
    QString path;
    qint64 rotateAt;
    int keepFiles;
    ErrorOutput reportError;

    mutable std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable drained;
    std::vector<QByteArray> queue;
    qint64 queuedBytes = 0;
    quint64 droppedLines = 0;
    quint64 appended = 0;
    quint64 done = 0;
    bool stopping = false;
    bool failed = false;

    // Writer thread only.
    QFile *file = nullptr;
    qint64 fileSize = 0;
    std::thread writer;
};
