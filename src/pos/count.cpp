#include "pos/readers.h"
#include "pos/xml_load.h"

namespace pos {

po_read_t countPoFile(std::string const& path, metrics_t& metrics) {
    QFile file;
    if (!openRegularFile(QString::fromStdString(path), file))
        return po_read_t::unopened;
    // Most files take the scanner; any other is read again from the start.
    {
        metrics_t counted;
        count_rule_t rule(counted);
        if (scanEvents(file, rule)) {
            rule.finish();
            metrics = std::move(counted);
            return po_read_t::read;
        }
    }
    if (!file.seek(0))
        return po_read_t::unopened;
    metrics = metrics_t{};
    count_rule_t rule(metrics);
    const po_read_t read = parseEvents(file, rule);
    rule.finish();
    return read;
}

bool getMetrics(std::string const& path, metrics_t& metrics) {
    return countPoFile(path, metrics) != po_read_t::unopened;
}

} // namespace pos
