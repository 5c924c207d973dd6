#include "filerules.h"
#include "textfile.h"

#include <QRegularExpression>

namespace QuillarSetup {

namespace {

const QByteArray OurTarget = "127.0.0.1:29777";

struct Entry {
    int line = -1;
    QByteArray key;
    QByteArray value; // without quotes
};

struct TelemetryBlock {
    int header = -1; // line of [KEY = telemetrydevice], -1 when the file has none
    int end = -1;    // line of its [END]
    QList<Entry> entries;

    const Entry *find(const QByteArray &key) const {
        for (const Entry &entry : entries) {
            if (entry.key == key) {
                return &entry;
            }
        }
        return nullptr;
    }
};

// Keys addr, addr1, addr2…: -1 for other keys, 0 for addr.
int addressNumber(const QByteArray &key) {
    if (!key.startsWith("addr")) {
        return -1;
    }
    if (key.size() == 4) {
        return 0;
    }
    bool ok = false;
    const int n = key.mid(4).toInt(&ok);
    return ok && n > 0 ? n : -1;
}

QByteArray unquoted(QByteArray value) {
    value = value.trimmed();
    if (value.size() >= 2 && value.startsWith('"') && value.endsWith('"')) {
        value = value.mid(1, value.size() - 2);
    }
    return value;
}

// The game's own layout: blocks from "[KEY = name]" to "[END]", "key = value" lines inside.
std::optional<TelemetryBlock> readBlocks(const TextLines &text, QString *problem) {
    static const QRegularExpression header(QStringLiteral("^\\[\\s*KEY\\s*=\\s*([^\\]\\s]+)\\s*\\]$"),
                                           QRegularExpression::CaseInsensitiveOption);
    TelemetryBlock block;
    int open = -1;
    bool inTelemetry = false;
    for (int i = 0; i < text.lines.size(); ++i) {
        const QByteArray line = text.lines.at(i).trimmed();
        if (line.compare("[END]", Qt::CaseInsensitive) == 0) {
            if (open < 0) {
                *problem = QStringLiteral("line %1: [END] without a block").arg(i + 1);
                return std::nullopt;
            }
            if (inTelemetry) {
                block.end = i;
            }
            open = -1;
            inTelemetry = false;
            continue;
        }
        const QRegularExpressionMatch match = header.match(QString::fromLatin1(line));
        if (match.hasMatch()) {
            if (open >= 0) {
                *problem = QStringLiteral("line %1: a block opens before the block of line %2 ends")
                               .arg(i + 1)
                               .arg(open + 1);
                return std::nullopt;
            }
            open = i;
            if (match.captured(1).compare(QStringLiteral("telemetrydevice"), Qt::CaseInsensitive) == 0) {
                if (block.header >= 0) {
                    *problem = QStringLiteral("line %1: a second telemetrydevice block").arg(i + 1);
                    return std::nullopt;
                }
                block.header = i;
                inTelemetry = true;
            }
            continue;
        }
        if (inTelemetry && !line.isEmpty()) {
            const qsizetype equals = line.indexOf('=');
            if (equals <= 0) {
                *problem = QStringLiteral("line %1: not a \"key = value\" line").arg(i + 1);
                return std::nullopt;
            }
            block.entries.append(Entry{i, line.left(equals).trimmed(), unquoted(line.mid(equals + 1))});
        }
    }
    if (open >= 0) {
        *problem = QStringLiteral("line %1: the block is never closed with [END]").arg(open + 1);
        return std::nullopt;
    }
    return block;
}

bool sendsToUs(const TelemetryBlock &block) {
    for (const Entry &entry : block.entries) {
        const int n = addressNumber(entry.key);
        if (n < 0) {
            continue;
        }
        if (entry.value == OurTarget) {
            return true;
        }
        // The plain "addr" takes its port from the block's "port".
        const Entry *port = block.find("port");
        if (n == 0 && entry.value == "127.0.0.1" && port && port->value == "29777") {
            return true;
        }
    }
    return false;
}

bool enabled(const TelemetryBlock &block) {
    const Entry *enable = block.find("enable");
    return enable && enable->value == "true";
}

QByteArray indentOf(const TextLines &text, const TelemetryBlock &block) {
    if (block.entries.isEmpty()) {
        return "\t";
    }
    const QByteArray line = text.lines.at(block.entries.first().line);
    qsizetype i = 0;
    while (i < line.size() && (line.at(i) == ' ' || line.at(i) == '\t')) {
        ++i;
    }
    return line.left(i);
}

bool isOurWholeBlock(const TelemetryBlock &block) {
    if (block.entries.size() != 4) {
        return false;
    }
    const Entry *addr = block.find("addr");
    const Entry *decimation = block.find("decimation");
    const Entry *enable = block.find("enable");
    const Entry *port = block.find("port");
    return addr && addr->value == "127.0.0.1" && decimation && decimation->value == "2" && enable &&
           enable->value == "true" && port && port->value == "29777";
}

} // namespace

QList<FileRules> il2Rules(const QString &gameFolder) {
    FileRules startup;
    startup.path = gameFolder + QStringLiteral("/data/startup.cfg");
    startup.inspect = [](const std::optional<QByteArray> &current, QString *problem) {
        if (!current) {
            return PartState::Absent;
        }
        const std::optional<TelemetryBlock> block = readBlocks(TextLines::split(*current), problem);
        if (!block) {
            return PartState::Unreadable;
        }
        if (block->header < 0 || !sendsToUs(*block)) {
            return PartState::Absent;
        }
        return enabled(*block) ? PartState::Present : PartState::Damaged;
    };
    startup.install = [](const std::optional<QByteArray> &current,
                         QString *problem) -> std::optional<QByteArray> {
        TextLines text = TextLines::split(current.value_or(QByteArray()));
        const std::optional<TelemetryBlock> block = readBlocks(text, problem);
        if (!block) {
            return std::nullopt;
        }
        if (block->header < 0) {
            for (const char *line : {"[KEY = telemetrydevice]", "\taddr = \"127.0.0.1\"", "\tdecimation = 2",
                                     "\tenable = true", "\tport = 29777", "[END]"}) {
                text.append(line);
            }
            return text.join();
        }
        const QByteArray indent = indentOf(text, *block);
        // Edits run from the bottom up so the line numbers read above stay valid.
        const Entry *enable = block->find("enable");
        if (!enable) {
            text.insert(block->end, indent + "enable = true");
        } else if (enable->value != "true") {
            text.lines[enable->line] = indent + "enable = true";
        }
        if (!sendsToUs(*block)) {
            int highest = -1;
            int after = block->header;
            for (const Entry &entry : block->entries) {
                const int n = addressNumber(entry.key);
                if (n >= 0) {
                    highest = qMax(highest, n);
                    after = qMax(after, entry.line);
                }
            }
            // Numbered receivers carry their own port; the first one is addr1 even in a block without addr.
            const int next = qMax(highest + 1, 1);
            text.insert(after + 1, indent + "addr" + QByteArray::number(next) + " = \"" + OurTarget + '"');
        }
        return text.join();
    };
    startup.takeOut = [](const QByteArray &current, const std::optional<QByteArray> &before,
                         QString *problem) -> std::optional<QByteArray> {
        TextLines text = TextLines::split(current);
        const std::optional<TelemetryBlock> block = readBlocks(text, problem);
        if (!block) {
            return std::nullopt;
        }
        if (block->header < 0) {
            return current;
        }
        if (isOurWholeBlock(*block)) {
            for (int i = block->end; i >= block->header; --i) {
                text.remove(i);
            }
            return text.join();
        }
        // The set-up switched the block on: when the copy from before says it was off (or said nothing),
        // it goes back to that. A block the user switched off since is left off.
        const Entry *enable = block->find("enable");
        std::optional<QByteArray> enableBefore; // the whole line; empty when there was none
        if (before && enable && enable->value == "true") {
            QString ignored;
            const TextLines old = TextLines::split(*before);
            const std::optional<TelemetryBlock> oldBlock = readBlocks(old, &ignored);
            if (oldBlock && oldBlock->header >= 0 && !enabled(*oldBlock)) {
                const Entry *oldEnable = oldBlock->find("enable");
                enableBefore = oldEnable ? old.lines.at(oldEnable->line) : QByteArray();
            }
        }
        // From the bottom up, so the line numbers read above stay valid.
        for (int i = block->entries.size() - 1; i >= 0; --i) {
            const Entry &entry = block->entries.at(i);
            if (addressNumber(entry.key) > 0 && entry.value == OurTarget) {
                text.remove(entry.line);
            } else if (enableBefore && &entry == enable) {
                if (enableBefore->isEmpty()) {
                    text.remove(entry.line);
                } else {
                    text.lines[entry.line] = *enableBefore;
                }
            }
        }
        return text.join();
    };
    startup.installWords = QStringLiteral("send the telemetry to port 29777");
    startup.removeWords = QStringLiteral("stop sending the telemetry to port 29777");
    return {startup};
}

} // namespace QuillarSetup
