#pragma once

#include <QString>
#include <QTemporaryDir>

// A fresh, empty working directory for one test: the process's current directory moves into a temporary
// folder on construction and back on destruction, and the folder is removed with everything in it.
class ScratchWorkingDirectory {
public:
    enum Folder { WithoutProfileFolder, WithProfileFolder };

    explicit ScratchWorkingDirectory(Folder folder = WithProfileFolder);
    ~ScratchWorkingDirectory();
    ScratchWorkingDirectory(const ScratchWorkingDirectory &) = delete;
    ScratchWorkingDirectory &operator=(const ScratchWorkingDirectory &) = delete;

    bool isValid() const { return valid; }
    QString path() const { return directory.path(); }
    // Absolute path of a file in the "effect_profiles" folder.
    QString profilePath(const QString &fileName) const;
    // Writes a file into "effect_profiles" (making the folder if needed); false on failure.
    bool writeProfile(const QString &fileName, const QByteArray &contents) const;

private:
    QTemporaryDir directory;
    QString previous;
    bool valid = false;
};
