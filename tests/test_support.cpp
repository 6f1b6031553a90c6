#include "test_support.h"

#include <fstream>
#include <sstream>

std::string ScratchDir::write(std::string const& name, std::string const& content) const {
    const std::string file = path() + "/" + name;
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

std::string describe(pos::metrics_t const& m) {
    std::ostringstream out;
    out << "po " << m.nb_po << " unp " << m.nb_unproved << " pr " << m.nb_proved << " unr "
        << m.nb_unreliably_proved << " dis " << m.nb_disproved << " ext " << m.nb_ext << " int "
        << m.nb_int;
    for (auto const& [name, mech] : m.mechanisms) {
        out << " | " << name << ": unp " << mech->nb_unproved << " unk " << mech->nb_unknown
            << " pr " << mech->nb_proved << " unr " << mech->nb_unreliably_proved << " dis "
            << mech->nb_disproved;
        for (auto const& [dname, drv] : mech->drivers)
            out << " | " << name << "/" << dname << ": unp " << drv->nb_unproved << " unk "
                << drv->nb_unknown << " pr " << drv->nb_proved << " dis " << drv->nb_disproved;
    }
    return out.str();
}

std::string poDocument(std::string const& goals) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Proof_Obligations>\n"
           "<Proof_Obligation><Tag>t</Tag>\n" +
           goals + "\n</Proof_Obligation>\n</Proof_Obligations>\n";
}
