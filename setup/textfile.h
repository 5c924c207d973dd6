#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace QuillarSetup {

// A text file as lines, each with its own line end, so an edit touches only the lines it means to and every
// other byte comes back unchanged. Files are handled as bytes: what we add is ASCII, so a file in UTF-8,
// Latin-1 or Windows-1252 keeps its encoding.
struct TextLines {
    QList<QByteArray> lines; // without their ends
    QList<QByteArray> ends;  // "\r\n", "\n", "\r" or "" (the last line of a file without a final line end)
    QByteArray eol = "\n";   // what new lines get: the file's first line end, "\n" for a file without one

    static TextLines split(const QByteArray &bytes);
    QByteArray join() const;
    // Appends a line after the last one, first ending a last line that has no line end.
    void append(const QByteArray &line);
    void insert(int index, const QByteArray &line);
    void remove(int index);
};

// What is at a path before anything is written.
struct FileProbe {
    enum Kind { Missing, File, DanglingLink, NotAFile, Unreadable };
    Kind kind = Missing;
    QByteArray bytes;
    QString problem; // set for the last three kinds

    bool exists() const { return kind == File; }
};

FileProbe probeFile(const QString &path);

} // namespace QuillarSetup
