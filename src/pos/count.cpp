#include "pos/readers.h"
#include "pos/xml_load.h"

namespace pos {

po_read_t countPoFile(std::string const& path, metrics_t& metrics,
                      std::vector<goal_detail_t>* goals) {
    QFile file;
    if (!openRegularFile(QString::fromStdString(path), file))
        return po_read_t::unopened;
    // Most files take the scanner; any other is read again from the start.
    {
        metrics_t counted;
        std::vector<goal_detail_t> listed;
        count_rule_t rule(counted, goals ? &listed : nullptr);
        // Whatever the scanner vouched for reads as the DOM reads it, so an
        // unknown status stops the count where the DOM walk stops, with the
        // same counts.
        const auto keep = [&] {
            metrics = std::move(counted);
            if (goals)
                *goals = std::move(listed);
        };
        try {
            if (scanEvents(file, rule)) {
                rule.finish();
                keep();
                return po_read_t::read;
            }
        } catch (unknown_status_error const&) {
            keep();
            throw;
        }
    }
    if (!file.seek(0))
        return po_read_t::unopened;
    metrics = metrics_t{};
    if (goals)
        goals->clear();
    count_rule_t rule(metrics, goals);
    const po_read_t read = parseEvents(file, rule);
    rule.finish();
    return read;
}

bool getMetrics(std::string const& path, metrics_t& metrics) {
    return countPoFile(path, metrics) != po_read_t::unopened;
}

} // namespace pos
