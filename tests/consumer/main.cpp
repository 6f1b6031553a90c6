// Lists a project's components with their goal counts, through the installed
// headers and libraries: "NAME PO PROVED" per component.
#include "db/DbFile.h"
#include "pos/pos.h"

#include <iostream>

int main(int argc, char* argv[]) {
    if (argc != 3)
        return 2;
    const std::string bdp = argv[1];
    DbFile db;
    if (!db.load(QString::fromStdString(bdp + "/" + argv[2] + ".db")))
        return 1;
    for (QString const& name : db.getComponents()) {
        pos::metrics_t metrics;
        pos::getMetrics(bdp + "/" + name.toStdString() + ".pos", metrics);
        std::cout << name.toStdString() << ' ' << metrics.nb_po << ' ' << metrics.nb_proved << '\n';
    }
    return 0;
}
