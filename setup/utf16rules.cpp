#include "filerules.h"

#include <QStringDecoder>
#include <QStringEncoder>

namespace QuillarSetup {

namespace {

enum class Encoding { Bytes, Utf16LE, Utf16BE };

Encoding encodingOf(const QByteArray &bytes) {
    if (bytes.startsWith("\xFF\xFE")) {
        return Encoding::Utf16LE;
    }
    if (bytes.startsWith("\xFE\xFF")) {
        return Encoding::Utf16BE;
    }
    return Encoding::Bytes;
}

QStringConverter::Encoding converter(Encoding encoding) {
    return encoding == Encoding::Utf16LE ? QStringConverter::Utf16LE : QStringConverter::Utf16BE;
}

QByteArray encoded(const QByteArray &utf8, Encoding encoding) {
    QStringEncoder encoder(converter(encoding));
    const QByteArray mark =
        encoding == Encoding::Utf16LE ? QByteArray("\xFF\xFE", 2) : QByteArray("\xFE\xFF", 2);
    return mark + QByteArray(encoder(QString::fromUtf8(utf8)));
}

// The text as UTF-8, or nullopt when it does not come back byte for byte (broken UTF-16).
std::optional<QByteArray> decoded(const QByteArray &bytes, Encoding encoding) {
    QStringDecoder decoder(converter(encoding));
    const QString text = decoder(bytes.mid(2));
    const QByteArray utf8 = text.toUtf8();
    if (decoder.hasError() || encoded(utf8, encoding) != bytes) {
        return std::nullopt;
    }
    return utf8;
}

const QString BrokenText = QStringLiteral("not valid UTF-16 text");

} // namespace

FileRules keepingUtf16(FileRules rules) {
    FileRules wrapped = rules;
    wrapped.inspect = [rules](const std::optional<QByteArray> &current, QString *problem) {
        const Encoding encoding = current ? encodingOf(*current) : Encoding::Bytes;
        if (encoding == Encoding::Bytes) {
            return rules.inspect(current, problem);
        }
        const std::optional<QByteArray> text = decoded(*current, encoding);
        if (!text) {
            *problem = BrokenText;
            return PartState::Unreadable;
        }
        return rules.inspect(text, problem);
    };
    wrapped.install = [rules](const std::optional<QByteArray> &current,
                              QString *problem) -> std::optional<QByteArray> {
        const Encoding encoding = current ? encodingOf(*current) : Encoding::Bytes;
        if (encoding == Encoding::Bytes) {
            return rules.install(current, problem);
        }
        const std::optional<QByteArray> text = decoded(*current, encoding);
        if (!text) {
            *problem = BrokenText;
            return std::nullopt;
        }
        const std::optional<QByteArray> result = rules.install(text, problem);
        return result ? std::optional<QByteArray>(encoded(*result, encoding)) : std::nullopt;
    };
    wrapped.takeOut = [rules](const QByteArray &current, const std::optional<QByteArray> &before,
                              QString *problem) -> std::optional<QByteArray> {
        // The copy from before is read in its own encoding; a broken one is as good as none.
        std::optional<QByteArray> beforeText = before;
        if (before && encodingOf(*before) != Encoding::Bytes) {
            beforeText = decoded(*before, encodingOf(*before));
        }
        const Encoding encoding = encodingOf(current);
        if (encoding == Encoding::Bytes) {
            return rules.takeOut(current, beforeText, problem);
        }
        const std::optional<QByteArray> text = decoded(current, encoding);
        if (!text) {
            *problem = BrokenText;
            return std::nullopt;
        }
        const std::optional<QByteArray> result = rules.takeOut(*text, beforeText, problem);
        return result ? std::optional<QByteArray>(encoded(*result, encoding)) : std::nullopt;
    };
    return wrapped;
}

} // namespace QuillarSetup
