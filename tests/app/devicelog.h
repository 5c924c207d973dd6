#pragma once

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>

// Reading what the preloaded hidapi double saw the whole program do, and small file helpers the
// whole-program tests share.

// The clock of the double's logs: steady_clock is CLOCK_MONOTONIC on Linux.
inline int64_t monotonicMicros() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// One output report as the double logged it.
struct Write {
    int64_t micros = 0;
    QByteArray device;
    QByteArray bytes;
    float at(int offset) const {
        float value = 0;
        std::memcpy(&value, bytes.constData() + offset, sizeof value);
        return value;
    }
};

// Every complete 65-byte report of the double's writes.log ("<µs> <device> <hex> result=<n> seq=<n>"); a line
// still being written has fewer parts or a short report and is left out.
inline QList<Write> readWrites(const QString &path) {
    QList<Write> writes;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return writes;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QList<QByteArray> parts = line.split(' ');
        if (parts.size() < 4)
            continue;
        Write write{parts[0].toLongLong(), parts[1], QByteArray::fromHex(parts[2])};
        if (write.bytes.size() == 65)
            writes << write;
    }
    return writes;
}

// The reports of one device with one command byte, written after `after` (µs).
inline QList<Write> select(const QList<Write> &writes, const QByteArray &device, char command, int64_t after) {
    QList<Write> selected;
    for (const Write &write : writes) {
        if (write.device == device && write.bytes.at(1) == command && write.micros > after)
            selected << write;
    }
    return selected;
}

inline bool closeTo(float actual, double expected) {
    return std::fabs(actual - expected) <= 1e-4 * std::max(1.0, std::fabs(expected));
}

// Written beside and renamed into place, so the double or the program never reads half a file.
inline bool writeAtomically(const QString &path, const QByteArray &contents) {
    QFile file(path + QStringLiteral(".new"));
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size() &&
           (file.close(), true) && QFile::rename(path + QStringLiteral(".new"), path);
}

inline QByteArray readAll(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
