#include "pos/readers.h"
#include "pos/xml_load.h"

namespace pos {

namespace {

// The counting rule over every goal.
class counter_t : public goal_consumer_t {
public:
    void restart() override { counted = metrics_t{}; }
    void goal(goal_record_t const& goal) override { countGoal(goal, counted); }
    metrics_t counted;
};

} // namespace

read_state_t readPoFile(std::string const& path, goal_consumer_t& consumer) {
    const QString name = QString::fromStdString(path);
    QFile file;
    if (!openRegularFile(name, file))
        return {po_read_t::unopened, "cannot be opened as a regular file", 0, 0};
    // Most files take the scanner; any other is read again from the start.
    // Whatever the scanner handed before it gave up reads as the DOM reads
    // it, so what the consumer throws there stands.
    if (scanRecords(file, consumer))
        return {po_read_t::read, {}, 0, 0};
    consumer.restart();
    if (!file.seek(0))
        return {po_read_t::unopened, "cannot be read again", 0, 0};
    return parseRecords(name, file, consumer);
}

read_state_t loadPoDocument(std::string const& path, QDomDocument& doc) {
    load_error_t error;
    const load_t loaded = loadDocument(QString::fromStdString(path), doc, &error);
    return {loaded == load_t::parsed     ? po_read_t::read
            : loaded == load_t::unopened ? po_read_t::unopened
                                         : po_read_t::malformed,
            error.message.toStdString(), error.line, error.column};
}

po_read_t countPoFile(std::string const& path, metrics_t& metrics) {
    counter_t counter;
    read_state_t state;
    try {
        state = readPoFile(path, counter);
    } catch (unknown_status_error const&) {
        metrics = std::move(counter.counted); // the counts up to the unknown value
        throw;
    }
    if (state.read != po_read_t::unopened)
        metrics = std::move(counter.counted);
    return state.read;
}

bool getMetrics(std::string const& path, metrics_t& metrics) {
    return countPoFile(path, metrics) != po_read_t::unopened;
}

} // namespace pos
