#include "db/bdp.h"

#include "db/DbFile.h"

#include <QString>

std::string database_path(std::string const& bdp, std::string const& project) {
    return bdp + "/" + project + ".db";
}

std::string po_file_path(std::string const& bdp, std::string const& name) {
    return bdp + "/" + name + ".pos";
}

// The database is released before the caller reads any PO file.
std::list<std::string> component_names(std::string const& bdp, std::string const& project,
                                       std::string* error) {
    DbFile db;
    QString failure;
    if (!db.load(QString::fromUtf8(database_path(bdp, project).c_str()), &failure) && error)
        *error = failure.toUtf8().toStdString();
    std::list<std::string> names;
    for (QString const& name : db.getComponents())
        names.push_back(name.toUtf8().toStdString());
    return names;
}
