#include "textfile.h"

#include <QFile>
#include <QFileInfo>

namespace QuillarSetup {

TextLines TextLines::split(const QByteArray &bytes) {
    TextLines text;
    bool sawEnd = false;
    qsizetype start = 0;
    qsizetype i = 0;
    while (i < bytes.size()) {
        const char c = bytes.at(i);
        if (c == '\n' || c == '\r') {
            const qsizetype endLength =
                (c == '\r' && i + 1 < bytes.size() && bytes.at(i + 1) == '\n') ? 2 : 1;
            text.lines.append(bytes.mid(start, i - start));
            text.ends.append(bytes.mid(i, endLength));
            if (!sawEnd) {
                text.eol = bytes.mid(i, endLength);
                sawEnd = true;
            }
            i += endLength;
            start = i;
        } else {
            ++i;
        }
    }
    if (start < bytes.size()) {
        text.lines.append(bytes.mid(start));
        text.ends.append(QByteArray());
    }
    return text;
}

QByteArray TextLines::join() const {
    QByteArray bytes;
    for (int i = 0; i < lines.size(); ++i) {
        bytes += lines.at(i);
        bytes += ends.at(i);
    }
    return bytes;
}

void TextLines::append(const QByteArray &line) {
    if (!ends.isEmpty() && ends.last().isEmpty()) {
        ends.last() = eol;
    }
    lines.append(line);
    ends.append(eol);
}

void TextLines::insert(int index, const QByteArray &line) {
    if (index >= lines.size()) {
        append(line);
        return;
    }
    lines.insert(index, line);
    ends.insert(index, eol);
}

void TextLines::remove(int index) {
    lines.removeAt(index);
    ends.removeAt(index);
}

FileProbe probeFile(const QString &path) {
    FileProbe probe;
    const QFileInfo info(path);
    if (info.isSymLink() && !info.exists()) {
        probe.kind = FileProbe::DanglingLink;
        probe.problem = QStringLiteral("a link to %1, which does not exist").arg(info.symLinkTarget());
        return probe;
    }
    if (!info.exists()) {
        return probe;
    }
    if (!info.isFile()) {
        probe.kind = FileProbe::NotAFile;
        probe.problem = QStringLiteral("not a file");
        return probe;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        probe.kind = FileProbe::Unreadable;
        probe.problem = QStringLiteral("cannot be read: %1").arg(file.errorString());
        return probe;
    }
    probe.kind = FileProbe::File;
    probe.bytes = file.readAll();
    return probe;
}

} // namespace QuillarSetup
