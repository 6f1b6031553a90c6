#include "pos/pos_internal.h"

#include <QFile>

namespace pos {

QDomDocument domOfPath(std::string const& path) {
    QDomDocument doc;
    QFile file(QString::fromStdString(path));
    if (file.exists() && file.open(QIODevice::ReadOnly)) {
        // A parse that fails part-way still leaves what was read before the
        // error; callers count that.
        doc.setContent(&file, false);
        file.close();
    }
    return doc;
}

} // namespace pos
