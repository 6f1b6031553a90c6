#include "db/bdp.h"

#include "db/DbFile.h"
#include "pos/xml_load.h"

#include <QFile>
#include <QString>

std::string database_path(std::string const& bdp, std::string const& project) {
    return bdp + "/" + project + ".db";
}

std::string po_file_path(std::string const& bdp, std::string const& name) {
    return bdp + "/" + name + ".pos";
}

// The database is released before the caller reads any PO file.
std::list<std::string> component_names(std::string const& bdp, std::string const& project,
                                       std::string* error, bool* unopened) {
    DbFile db;
    QString failure;
    QString const path = QString::fromUtf8(database_path(bdp, project).c_str());
    bool const loaded = db.load(path, &failure);
    if (!loaded && error)
        *error = failure.toUtf8().toStdString();
    if (unopened) {
        QFile file;
        *unopened = !loaded && !pos::openRegularFile(path, file);
    }
    std::list<std::string> names;
    for (QString const& name : db.getComponents())
        names.push_back(name.toUtf8().toStdString());
    return names;
}
