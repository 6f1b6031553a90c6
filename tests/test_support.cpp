#include "test_support.h"

#include <QDomDocument>
#include <QXmlStreamReader>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

std::string ScratchDir::write(std::string const& name, std::string const& content) const {
    const std::string file = path() + "/" + name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

namespace {

// Control characters as \xNN, so that every description is one printable line.
std::string printable(std::string const& name) {
    std::string text;
    for (char c : name) {
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(c));
        text += static_cast<unsigned char>(c) < 0x20 ? escaped : std::string(1, c);
    }
    return text;
}

} // namespace

std::string describe(pos::metrics_t const& m) {
    std::ostringstream out;
    out << "po " << m.nb_po << " unp " << m.nb_unproved << " pr " << m.nb_proved << " unr "
        << m.nb_unreliably_proved << " dis " << m.nb_disproved << " ext " << m.nb_ext << " int "
        << m.nb_int;
    for (auto const& [name, mech] : m.mechanisms) {
        out << " | " << printable(name) << ": unp " << mech->nb_unproved << " unk "
            << mech->nb_unknown << " pr " << mech->nb_proved << " unr "
            << mech->nb_unreliably_proved << " dis " << mech->nb_disproved;
        for (auto const& [dname, drv] : mech->drivers)
            out << " | " << printable(name) << "/" << printable(dname) << ": unp "
                << drv->nb_unproved << " unk " << drv->nb_unknown << " pr " << drv->nb_proved
                << " dis " << drv->nb_disproved;
    }
    return out.str();
}

std::string poDocument(std::string const& goals) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Proof_Obligations>\n"
           "<Proof_Obligation><Tag>t</Tag>\n" +
           goals + "\n</Proof_Obligation>\n</Proof_Obligations>\n";
}

std::string countOutcome(bool (*count)(std::string const&, pos::metrics_t&),
                         std::string const& path) {
    pos::metrics_t m;
    m.nb_po = 7; // replaced by a count, kept when the file is missing
    std::string result;
    try {
        result = count(path, m) ? "true" : "false";
    } catch (std::out_of_range const& e) {
        result = std::string("out_of_range ") + e.what();
    }
    return result + " | " + describe(m);
}

bool wellFormed(std::string const& xml) {
    const QByteArray bytes = QByteArray::fromStdString(xml);
    QXmlStreamReader reader(bytes);
    reader.setNamespaceProcessing(false);
    while (!reader.atEnd())
        reader.readNext();
    QDomDocument doc;
    return !reader.hasError() && doc.setContent(bytes, false);
}
