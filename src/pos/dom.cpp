#include "pos/pos_internal.h"

#include "pos/xml_load.h"

namespace pos {

QDomDocument domOfPath(std::string const& path) {
    QDomDocument doc;
    // A parse that fails part-way still leaves what was read before the
    // error; callers count that.
    loadDocument(QString::fromStdString(path), doc, nullptr);
    return doc;
}

} // namespace pos
