#include "filerules.h"
#include "textfile.h"

#include <algorithm>

namespace QuillarSetup {

namespace {

struct IniKey {
    int line = -1;
    QByteArray section; // lower case
    QByteArray key;     // lower case
    QByteArray value;
};

struct Ini {
    QList<IniKey> keys;
    QList<QPair<QByteArray, int>> sections; // lower-case name, header line
};

std::optional<Ini> readIni(const TextLines &text, QString *problem) {
    Ini ini;
    QByteArray section;
    for (int i = 0; i < text.lines.size(); ++i) {
        const QByteArray line = text.lines.at(i).trimmed();
        if (line.isEmpty() || line.startsWith(';') || line.startsWith('#')) {
            continue;
        }
        if (line.startsWith('[')) {
            if (!line.endsWith(']')) {
                *problem = QStringLiteral("line %1: a section name without \"]\"").arg(i + 1);
                return std::nullopt;
            }
            section = line.mid(1, line.size() - 2).trimmed().toLower();
            ini.sections.append({section, i});
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0) {
            *problem = QStringLiteral("line %1: not a \"key=value\" line").arg(i + 1);
            return std::nullopt;
        }
        ini.keys.append(
            IniKey{i, section, line.left(equals).trimmed().toLower(), line.mid(equals + 1).trimmed()});
    }
    return ini;
}

const IniKey *find(const Ini &ini, const QByteArray &section, const QByteArray &key) {
    for (const IniKey &entry : ini.keys) {
        if (entry.section == section && entry.key == key) {
            return &entry;
        }
    }
    return nullptr;
}

QByteArray valueOf(const Ini &ini, const QByteArray &section, const QByteArray &key) {
    const IniKey *entry = find(ini, section, key);
    return entry ? entry->value : QByteArray();
}

struct Wanted {
    QByteArray section;
    QByteArray sectionName;
    QByteArray key;
    QByteArray keyName;
    QByteArray value;
    bool keepExisting; // the send interval is the user's choice once it is set
};

const QList<Wanted> &wanted() {
    static const QList<Wanted> list = {
        {"general", "General", "enabled", "Enabled", "1", false},
        {"connection", "Connection", "host", "Host", "127.0.0.1", false},
        {"connection", "Connection", "port", "Port", "55278", false},
        {"misc", "Misc", "sendintervalms", "SendIntervalMs", "20", true},
        {"misc", "Misc", "extendeddata", "ExtendedData", "1", false},
    };
    return list;
}

} // namespace

QList<FileRules> condorRules(const QString &condorFolder) {
    FileRules udp;
    udp.path = condorFolder + QStringLiteral("/Settings/UDP.ini");
    udp.inspect = [](const std::optional<QByteArray> &current, QString *problem) {
        if (!current) {
            return PartState::Absent;
        }
        const std::optional<Ini> ini = readIni(TextLines::split(*current), problem);
        if (!ini) {
            return PartState::Unreadable;
        }
        const QByteArray host = valueOf(*ini, "connection", "host");
        const bool toUs = (host == "127.0.0.1" || host.compare("localhost", Qt::CaseInsensitive) == 0) &&
                          valueOf(*ini, "connection", "port") == "55278";
        if (!toUs || valueOf(*ini, "general", "enabled") != "1") {
            return PartState::Absent;
        }
        // Without the extended data the Condor effects miss the turbulence.
        return valueOf(*ini, "misc", "extendeddata") == "1" ? PartState::Present : PartState::Damaged;
    };
    udp.install = [](const std::optional<QByteArray> &current,
                     QString *problem) -> std::optional<QByteArray> {
        if (!current) {
            // A new file in Condor's own (Windows) line ends, laid out as the Condor page shows it.
            return QByteArrayLiteral(
                "[General]\r\nEnabled=1\r\n\r\n[Connection]\r\nHost=127.0.0.1\r\nPort=55278\r\n"
                "\r\n[Misc]\r\nSendIntervalMs=20\r\nExtendedData=1\r\n");
        }
        TextLines text = TextLines::split(*current);
        for (const Wanted &want : wanted()) {
            const std::optional<Ini> ini = readIni(text, problem);
            if (!ini) {
                return std::nullopt;
            }
            if (const IniKey *entry = find(*ini, want.section, want.key)) {
                if (entry->value != want.value && !want.keepExisting) {
                    QByteArray &line = text.lines[entry->line];
                    qsizetype value = line.indexOf('=') + 1;
                    while (value < line.size() && (line.at(value) == ' ' || line.at(value) == '\t')) {
                        ++value;
                    }
                    line = line.left(value) + want.value;
                }
                continue;
            }
            const QByteArray newLine = want.keyName + '=' + want.value;
            int sectionLine = -1;
            for (const auto &section : ini->sections) {
                if (section.first == want.section) {
                    sectionLine = section.second;
                    break;
                }
            }
            if (sectionLine < 0) {
                if (!text.lines.isEmpty() && !text.lines.last().trimmed().isEmpty()) {
                    text.append(QByteArray());
                }
                text.append('[' + want.sectionName + ']');
                text.append(newLine);
                continue;
            }
            // After the section's last key, before the blank lines that separate it from the next one.
            int after = sectionLine;
            for (const IniKey &entry : ini->keys) {
                if (entry.section == want.section && entry.line > sectionLine) {
                    after = qMax(after, entry.line);
                }
            }
            text.insert(after + 1, newLine);
        }
        return text.join();
    };
    udp.takeOut = [](const QByteArray &current, const std::optional<QByteArray> &before,
                     QString *problem) -> std::optional<QByteArray> {
        // Our values replaced the ones before them; only the copy from before knows those. Without it the
        // file is left as it is, and the engine notes why.
        if (!before) {
            return current;
        }
        TextLines text = TextLines::split(current);
        const std::optional<Ini> ini = readIni(text, problem);
        if (!ini) {
            return std::nullopt;
        }
        QString ignored;
        const TextLines oldText = TextLines::split(*before);
        const std::optional<Ini> old = readIni(oldText, &ignored);
        if (!old) {
            return current;
        }
        // Every value that is still ours goes back to the one before, or goes when there was none; a value
        // the user changed since is theirs. From the bottom up, so the line numbers stay valid.
        QList<int> removed;
        QList<QPair<int, QByteArray>> restored;
        for (const Wanted &want : wanted()) {
            const IniKey *entry = find(*ini, want.section, want.key);
            if (!entry || entry->value != want.value) {
                continue;
            }
            if (const IniKey *oldEntry = find(*old, want.section, want.key)) {
                if (oldEntry->value != entry->value) {
                    restored.append({entry->line, oldText.lines.at(oldEntry->line)});
                }
            } else {
                removed.append(entry->line);
            }
        }
        for (const auto &line : restored) {
            text.lines[line.first] = line.second;
        }
        // A section the set-up added goes with its last key, and so does the blank line put before it: as
        // many blank lines go as the set-up added, so a file that ended in a blank line keeps it.
        auto blanks = [](const TextLines &lines) {
            return int(std::count_if(lines.lines.begin(), lines.lines.end(),
                                     [](const QByteArray &line) { return line.trimmed().isEmpty(); }));
        };
        int blanksToTake = blanks(text) - blanks(oldText);
        for (const auto &section : ini->sections) {
            bool existedBefore = false;
            for (const auto &oldSection : old->sections) {
                existedBefore = existedBefore || oldSection.first == section.first;
            }
            if (existedBefore) {
                continue;
            }
            bool keepsAKey = false;
            for (const IniKey &entry : ini->keys) {
                keepsAKey = keepsAKey || (entry.section == section.first && !removed.contains(entry.line));
            }
            if (!keepsAKey) {
                removed.append(section.second);
                if (blanksToTake > 0 && section.second > 0 &&
                    text.lines.at(section.second - 1).trimmed().isEmpty() &&
                    !removed.contains(section.second - 1)) {
                    removed.append(section.second - 1);
                    --blanksToTake;
                }
            }
        }
        std::sort(removed.begin(), removed.end());
        for (int i = removed.size() - 1; i >= 0; --i) {
            text.remove(removed.at(i));
        }
        return text.join();
    };
    udp.installWords = QStringLiteral("switch on the UDP output to port 55278");
    udp.removeWords = QStringLiteral("put back the UDP output settings from before");
    return {udp};
}

} // namespace QuillarSetup
