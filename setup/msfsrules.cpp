#include "filerules.h"
#include "textfile.h"

#include <QXmlStreamReader>

namespace QuillarSetup {

namespace {

const QByteArray OurDescription = "Vortane Quillar";

struct Comm {
    int firstLine = -1;
    int lastLine = -1;
    bool aloneOnItsLines = false; // nothing else shares the first and last lines
    QString description, protocol, scope, port, disabled;
};

struct Document {
    QList<Comm> comms;
    int rootEndLine = -1; // the line of </SimBase.Document>
    bool rootEndAlone = false;
    QByteArray childIndent = "    ";
};

// Line index of a byte offset.
int lineOf(const QList<qsizetype> &starts, qsizetype offset) {
    int line = 0;
    while (line + 1 < starts.size() && starts.at(line + 1) <= offset) {
        ++line;
    }
    return line;
}

QByteArray leadingSpace(const QByteArray &line) {
    qsizetype i = 0;
    while (i < line.size() && (line.at(i) == ' ' || line.at(i) == '\t')) {
        ++i;
    }
    return line.left(i);
}

std::optional<Document> readDocument(const QByteArray &bytes, const TextLines &text, QString *problem) {
    QList<qsizetype> starts;
    qsizetype offset = 0;
    for (int i = 0; i < text.lines.size(); ++i) {
        starts.append(offset);
        offset += text.lines.at(i).size() + text.ends.at(i).size();
    }
    // Read as Latin-1 whatever the declared encoding: the checks below look at ASCII only, and character
    // offsets stay byte offsets.
    QXmlStreamReader xml(QString::fromLatin1(bytes));
    Document document;
    Comm comm;
    QString element;
    int depth = 0;
    bool sawRoot = false;
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        const qsizetype tokenEnd = xml.characterOffset();
        if (token == QXmlStreamReader::StartElement) {
            ++depth;
            if (depth == 1) {
                if (xml.name() != QLatin1String("SimBase.Document")) {
                    *problem = QStringLiteral("not a SimConnect settings file");
                    return std::nullopt;
                }
                sawRoot = true;
            } else if (depth == 2 && xml.name() == QLatin1String("SimConnect.Comm")) {
                comm = Comm();
                comm.firstLine = lineOf(starts, tokenEnd - 1);
                const QByteArray line = text.lines.at(comm.firstLine).trimmed();
                comm.aloneOnItsLines = line == "<SimConnect.Comm>";
                document.childIndent = leadingSpace(text.lines.at(comm.firstLine));
            } else if (depth == 2 && document.comms.isEmpty() && comm.firstLine < 0) {
                document.childIndent = leadingSpace(text.lines.at(lineOf(starts, tokenEnd - 1)));
            }
            element = xml.name().toString();
        } else if (token == QXmlStreamReader::Characters && depth == 3 && comm.firstLine >= 0) {
            const QString value = xml.text().toString().trimmed();
            if (element == QLatin1String("Descr"))
                comm.description = value;
            else if (element == QLatin1String("Protocol"))
                comm.protocol = value;
            else if (element == QLatin1String("Scope"))
                comm.scope = value;
            else if (element == QLatin1String("Port"))
                comm.port = value;
            else if (element == QLatin1String("Disabled"))
                comm.disabled = value;
        } else if (token == QXmlStreamReader::EndElement) {
            if (depth == 2 && xml.name() == QLatin1String("SimConnect.Comm") && comm.firstLine >= 0) {
                comm.lastLine = lineOf(starts, tokenEnd - 1);
                const QByteArray line = text.lines.at(comm.lastLine).trimmed();
                comm.aloneOnItsLines =
                    comm.aloneOnItsLines && comm.lastLine > comm.firstLine && line == "</SimConnect.Comm>";
                document.comms.append(comm);
                comm = Comm();
            } else if (depth == 1) {
                document.rootEndLine = lineOf(starts, tokenEnd - 1);
                document.rootEndAlone =
                    text.lines.at(document.rootEndLine).trimmed() == "</SimBase.Document>";
            }
            --depth;
            element.clear();
        }
    }
    if (xml.hasError()) {
        *problem = QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString());
        return std::nullopt;
    }
    if (!sawRoot) {
        *problem = QStringLiteral("not a SimConnect settings file");
        return std::nullopt;
    }
    return document;
}

bool servesUs(const Comm &comm, int port) {
    return comm.protocol.compare(QLatin1String("IPv4"), Qt::CaseInsensitive) == 0 &&
           comm.scope.compare(QLatin1String("local"), Qt::CaseInsensitive) == 0 &&
           comm.port == QString::number(port) &&
           comm.disabled.compare(QLatin1String("True"), Qt::CaseInsensitive) != 0;
}

QList<QByteArray> ourComm(const QByteArray &indent, int port) {
    const QByteArray inner = indent + (indent.contains('\t') ? QByteArray("\t") : QByteArray("    "));
    return {
        indent + "<SimConnect.Comm>",
        inner + "<Descr>" + OurDescription + "</Descr>",
        inner + "<Disabled>False</Disabled>",
        inner + "<Protocol>IPv4</Protocol>",
        inner + "<Scope>local</Scope>",
        inner + "<Address>127.0.0.1</Address>",
        inner + "<Port>" + QByteArray::number(port) + "</Port>",
        inner + "<MaxClients>64</MaxClients>",
        inner + "<MaxRecvSize>41088</MaxRecvSize>",
        indent + "</SimConnect.Comm>",
    };
}

} // namespace

int simConnectPort(const std::optional<QByteArray> &simConnectCfg) {
    if (simConnectCfg) {
        for (const QByteArray &raw : TextLines::split(*simConnectCfg).lines) {
            const qsizetype equals = raw.indexOf('=');
            if (equals > 0 && raw.left(equals).trimmed().toLower() == "port") {
                bool ok = false;
                const int port = raw.mid(equals + 1).trimmed().toInt(&ok);
                if (ok && port > 0 && port < 65536) {
                    return port;
                }
            }
        }
    }
    return 500;
}

QByteArray simConnectCfgBytes(int port) {
    return "[SimConnect]\nProtocol=IPv4\nAddress=127.0.0.1\nPort=" + QByteArray::number(port) + '\n';
}

QList<FileRules> msfsRules(const QString &settingsFolder, int port) {
    FileRules xml;
    xml.path = settingsFolder + QStringLiteral("/SimConnect.xml");
    xml.inspect = [port](const std::optional<QByteArray> &current, QString *problem) {
        if (!current) {
            return PartState::Absent;
        }
        const std::optional<Document> document = readDocument(*current, TextLines::split(*current), problem);
        if (!document) {
            return PartState::Unreadable;
        }
        bool ours = false;
        for (const Comm &comm : document->comms) {
            if (servesUs(comm, port)) {
                return PartState::Present;
            }
            ours = ours || comm.description == QLatin1String(OurDescription);
        }
        return ours ? PartState::Damaged : PartState::Absent;
    };
    xml.install = [port](const std::optional<QByteArray> &current,
                         QString *problem) -> std::optional<QByteArray> {
        if (!current) {
            TextLines text = TextLines::split(QByteArray());
            text.append(R"(<?xml version="1.0" encoding="UTF-8"?>)");
            text.append(R"(<SimBase.Document Type="SimConnect" version="1,0">)");
            text.append("    <Descr>SimConnect Server Configuration</Descr>");
            text.append("    <Filename>SimConnect.xml</Filename>");
            for (const QByteArray &line : ourComm("    ", port)) {
                text.append(line);
            }
            text.append("</SimBase.Document>");
            return text.join();
        }
        TextLines text = TextLines::split(*current);
        const std::optional<Document> document = readDocument(*current, text, problem);
        if (!document) {
            return std::nullopt;
        }
        for (const Comm &comm : document->comms) {
            if (servesUs(comm, port)) {
                return current;
            }
        }
        // A stale entry of ours (another port) is replaced where it stands.
        for (int i = document->comms.size() - 1; i >= 0; --i) {
            const Comm &comm = document->comms.at(i);
            if (comm.description == QLatin1String(OurDescription) && comm.aloneOnItsLines) {
                for (int line = comm.lastLine; line >= comm.firstLine; --line) {
                    text.remove(line);
                }
                int at = comm.firstLine;
                for (const QByteArray &line : ourComm(document->childIndent, port)) {
                    text.insert(at++, line);
                }
                return text.join();
            }
        }
        if (!document->rootEndAlone) {
            *problem = QStringLiteral("</SimBase.Document> shares its line with other text; left as it is");
            return std::nullopt;
        }
        int at = document->rootEndLine;
        for (const QByteArray &line : ourComm(document->childIndent, port)) {
            text.insert(at++, line);
        }
        return text.join();
    };
    xml.takeOut = [](const QByteArray &current, const std::optional<QByteArray> &,
                     QString *problem) -> std::optional<QByteArray> {
        TextLines text = TextLines::split(current);
        const std::optional<Document> document = readDocument(current, text, problem);
        if (!document) {
            return std::nullopt;
        }
        for (int i = document->comms.size() - 1; i >= 0; --i) {
            const Comm &comm = document->comms.at(i);
            if (comm.description != QLatin1String(OurDescription)) {
                continue;
            }
            if (!comm.aloneOnItsLines) {
                *problem = QStringLiteral("our entry shares its lines with other text; left as it is");
                return std::nullopt;
            }
            for (int line = comm.lastLine; line >= comm.firstLine; --line) {
                text.remove(line);
            }
        }
        return text.join();
    };
    xml.installWords = QStringLiteral("serve SimConnect on 127.0.0.1 port %1").arg(port);
    xml.removeWords = QStringLiteral("take out our SimConnect entry");
    return {xml};
}

} // namespace QuillarSetup
