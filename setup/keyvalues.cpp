#include "keyvalues.h"

namespace QuillarSetup {

const KeyValue *KeyValue::child(const QString &name) const {
    for (const KeyValue &pair : children) {
        if (pair.key.compare(name, Qt::CaseInsensitive) == 0) {
            return &pair;
        }
    }
    return nullptr;
}

namespace {

struct Token {
    enum Kind { End, Text, Open, Close, Condition };
    Kind kind = End;
    QByteArray text;
    int line = 1;
};

class Lexer {
public:
    explicit Lexer(const QByteArray &text) : data(text) {}

    // False with `error` set when the text cannot be split into tokens.
    bool next(Token *token, QString *error) {
        skipSpaceAndComments();
        token->line = line;
        token->text.clear();
        if (pos >= data.size()) {
            token->kind = Token::End;
            return true;
        }
        const char c = data.at(pos);
        if (c == '{' || c == '}') {
            token->kind = c == '{' ? Token::Open : Token::Close;
            ++pos;
            return true;
        }
        if (c == '[') {
            const qsizetype close = data.indexOf(']', pos);
            const qsizetype newline = data.indexOf('\n', pos);
            if (close < 0 || (newline >= 0 && newline < close)) {
                *error = QStringLiteral("line %1: unclosed condition").arg(line);
                return false;
            }
            token->kind = Token::Condition;
            token->text = data.mid(pos + 1, close - pos - 1);
            pos = close + 1;
            return true;
        }
        token->kind = Token::Text;
        if (c == '"') {
            ++pos;
            while (pos < data.size() && data.at(pos) != '"') {
                char d = data.at(pos);
                if (d == '\\' && pos + 1 < data.size()) {
                    const char e = data.at(pos + 1);
                    d = e == 'n' ? '\n' : e == 't' ? '\t' : e;
                    ++pos;
                } else if (d == '\n') {
                    ++line;
                }
                token->text.append(d);
                ++pos;
            }
            if (pos >= data.size()) {
                *error = QStringLiteral("line %1: a quoted text is never closed").arg(token->line);
                return false;
            }
            ++pos;
            return true;
        }
        while (pos < data.size()) {
            const char d = data.at(pos);
            if (d == '"' || d == '{' || d == '}' || d == '[' || isSpace(d)) {
                break;
            }
            token->text.append(d);
            ++pos;
        }
        return true;
    }

private:
    static bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

    void skipSpaceAndComments() {
        while (pos < data.size()) {
            const char c = data.at(pos);
            if (c == '\n') {
                ++line;
                ++pos;
            } else if (isSpace(c)) {
                ++pos;
            } else if (c == '/' && pos + 1 < data.size() && data.at(pos + 1) == '/') {
                while (pos < data.size() && data.at(pos) != '\n') {
                    ++pos;
                }
            } else {
                break;
            }
        }
    }

    const QByteArray &data;
    qsizetype pos = 0;
    int line = 1;
};

// Depth is bounded so a hostile file cannot exhaust the stack.
constexpr int MaximumDepth = 64;

bool parseBlock(Lexer &lexer, QList<KeyValue> *pairs, int depth, bool topLevel, QString *error) {
    Token token;
    while (true) {
        if (!lexer.next(&token, error)) {
            return false;
        }
        if (token.kind == Token::End) {
            if (!topLevel) {
                *error = QStringLiteral("line %1: a block is never closed").arg(token.line);
                return false;
            }
            return true;
        }
        if (token.kind == Token::Close) {
            if (topLevel) {
                *error = QStringLiteral("line %1: \"}\" without a block").arg(token.line);
                return false;
            }
            return true;
        }
        if (token.kind == Token::Condition) {
            continue; // a condition on its own line belongs to the pair before it
        }
        if (token.kind != Token::Text) {
            *error = QStringLiteral("line %1: a block without a name").arg(token.line);
            return false;
        }
        KeyValue pair;
        pair.key = QString::fromUtf8(token.text);
        Token value;
        if (!lexer.next(&value, error)) {
            return false;
        }
        if (value.kind == Token::Condition) {
            if (!lexer.next(&value, error)) {
                return false;
            }
        }
        if (value.kind == Token::Text) {
            pair.value = QString::fromUtf8(value.text);
        } else if (value.kind == Token::Open) {
            if (depth >= MaximumDepth) {
                *error = QStringLiteral("line %1: blocks nested too deeply").arg(value.line);
                return false;
            }
            pair.isBlock = true;
            if (!parseBlock(lexer, &pair.children, depth + 1, false, error)) {
                return false;
            }
        } else {
            *error = QStringLiteral("line %1: \"%2\" has no value").arg(value.line).arg(pair.key);
            return false;
        }
        pairs->append(pair);
    }
}

bool isNumber(const QString &text) {
    bool ok = false;
    text.toUInt(&ok);
    return ok;
}

} // namespace

KeyValuesDocument parseKeyValues(const QByteArray &text) {
    KeyValuesDocument document;
    Lexer lexer(text);
    if (!parseBlock(lexer, &document.pairs, 0, true, &document.error)) {
        document.pairs.clear();
    }
    return document;
}

QStringList steamLibraryPaths(const KeyValuesDocument &document) {
    QStringList paths;
    for (const KeyValue &root : document.pairs) {
        if (!root.isBlock || root.key.compare(QStringLiteral("libraryfolders"), Qt::CaseInsensitive) != 0) {
            continue;
        }
        for (const KeyValue &entry : root.children) {
            if (!isNumber(entry.key)) {
                continue; // "TimeNextStatsReport", "ContentStatsID" of the older form
            }
            if (entry.isBlock) {
                if (const KeyValue *path = entry.child(QStringLiteral("path")); path && !path->isBlock) {
                    paths.append(path->value);
                }
            } else {
                paths.append(entry.value);
            }
        }
    }
    return paths;
}

} // namespace QuillarSetup
