#include "db/DbFile.h"

#include "pos/xml_load.h"

#include <QDir>
#include <QFileInfo>

namespace {

const QString TAG_DB_XML = QStringLiteral("db_xml");
const QString TAG_PROJECT = QStringLiteral("project");
const QString TAG_COMPONENT_FILE = QStringLiteral("component_file");
const QString ATTR_NAME = QStringLiteral("name");
const QString ATTR_PATH = QStringLiteral("path");
const QString ATTR_SUFFIX = QStringLiteral("suffix");

QDomElement firstComponent(QDomDocument const& document) {
    return document.firstChildElement(TAG_DB_XML)
        .firstChildElement(TAG_PROJECT)
        .firstChildElement(TAG_COMPONENT_FILE);
}

QDomElement nextComponent(QDomElement const& component) {
    return component.nextSiblingElement(TAG_COMPONENT_FILE);
}

} // namespace

bool DbFile::load(QString path, QString* error) {
    pos::load_error_t failure;
    if (pos::loadDocument(path, document, &failure) == pos::load_t::parsed) {
        filePath = path;
        return true;
    }
    if (error)
        *error = QStringLiteral("%1:%2:%3:%4")
                     .arg(path, QString::number(failure.line), QString::number(failure.column),
                          failure.message);
    return false;
}

QString DbFile::getFilePath() const {
    return filePath;
}

QList<QString> DbFile::getComponents() const {
    QList<QString> names;
    for (QDomElement c = firstComponent(document); !c.isNull(); c = nextComponent(c))
        names.append(c.attribute(ATTR_NAME));
    return names;
}

QString DbFile::getComponentPath(QString name) {
    for (QDomElement c = firstComponent(document); !c.isNull(); c = nextComponent(c)) {
        if (c.attribute(ATTR_NAME) != name)
            continue;
        const QString fileName =
            QStringLiteral("%1.%2").arg(c.attribute(ATTR_NAME), c.attribute(ATTR_SUFFIX));
        return QDir(c.attribute(ATTR_PATH)).absoluteFilePath(fileName);
    }
    return QString();
}

QString DbFile::getBxmlSource(QString file) {
    return getComponentPath(QFileInfo(file).baseName());
}
