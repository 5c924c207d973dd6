#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace QuillarSetup {

// Valve's KeyValues text (libraryfolders.vdf, appmanifest_*.acf): quoted or bare keys, each followed by a
// quoted value or a { } block of further pairs. "//" starts a comment; a "[$WIN32]" style condition after a
// value is read and ignored.
struct KeyValue {
    QString key;
    QString value;            // empty for a block
    QList<KeyValue> children; // the pairs of a block
    bool isBlock = false;

    // The first child with this key, compared without case as Steam does; nullptr if none.
    const KeyValue *child(const QString &name) const;
};

struct KeyValuesDocument {
    QList<KeyValue> pairs;
    QString error; // empty when the whole text was read; otherwise "line N: what is wrong"
    bool isValid() const { return error.isEmpty(); }
};

KeyValuesDocument parseKeyValues(const QByteArray &text);

// The library folders a libraryfolders.vdf lists, in its order: both the current form ("0" { "path" "…" })
// and the older one ("1" "…").
QStringList steamLibraryPaths(const KeyValuesDocument &document);

} // namespace QuillarSetup
