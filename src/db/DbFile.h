// The project database: the components of a project and where their
// source files lie.
#ifndef DB_DBFILE_H
#define DB_DBFILE_H

#include <QDomDocument>
#include <QList>
#include <QString>

class DbFile {
public:
    // Parses the database at `path`. On failure fills `error`, when given, with
    // "path:line:column:message" and returns false; the document then holds
    // what the reader built before the error.
    bool load(QString path, QString* error = nullptr);

    QString getFilePath() const;
    // The "name" of every component, in file order, duplicates included.
    QList<QString> getComponents() const;
    // Absolute path of the component's source file; null when no component
    // has that name. The file's existence is not checked.
    QString getComponentPath(QString name);
    // getComponentPath of the file's base name (up to its first dot).
    QString getBxmlSource(QString file);

private:
    QString filePath;
    QDomDocument document;
};

#endif
