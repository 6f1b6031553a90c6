#include "test_support.h"

#include "pos/pos_internal.h"
#include "pos/xml_load.h"

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

namespace {

pos::attr_t attribute(QDomElement const& e, QString const& name, QByteArray& utf8) {
    if (!e.hasAttribute(name))
        return std::nullopt;
    utf8 = e.attribute(name).toUtf8();
    return std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size()));
}

template <typename Visit>
void children(QDomElement const& parent, QString const& tag, Visit visit) {
    for (QDomElement e = parent.firstChildElement(tag); !e.isNull(); e = e.nextSiblingElement(tag))
        visit(e);
}

} // namespace

void walkEvents(QDomDocument const& doc, pos::goal_events_t& events) {
    QByteArray name, status;
    children(doc.documentElement(), pos::TAG_PROOF_OBLIGATION, [&](QDomElement const& po) {
        events.obligation(po.lineNumber());
        const QByteArray tag = po.firstChildElement(pos::TAG_TAG).text().toUtf8();
        events.tagText(std::string_view(tag.constData(), static_cast<std::size_t>(tag.size())));
        children(po, pos::TAG_SIMPLE_GOAL, [&](QDomElement const& goal) {
            events.goal(goal.lineNumber(), attribute(goal, pos::ATTR_STATUS, status));
            const QDomElement state = goal.firstChildElement(pos::TAG_PROOF_STATE);
            if (!state.isNull())
                events.proofState(attribute(state, pos::ATTR_PROOF_STATE, status));
            children(goal, pos::TAG_MECHANISM, [&](QDomElement const& m) {
                events.mechanism(m.lineNumber(), attribute(m, pos::ATTR_NAME, name),
                                 attribute(m, pos::ATTR_STATUS, status));
                children(m, pos::TAG_DRIVER, [&](QDomElement const& d) {
                    events.driver(d.lineNumber(), attribute(d, pos::ATTR_NAME, name),
                                  attribute(d, pos::ATTR_STATUS, status));
                });
            });
        });
    });
}

bool domMetrics(std::string const& path, pos::metrics_t& metrics) {
    const QDomDocument doc = pos::domOfPath(path);
    if (doc.isNull())
        return false;
    metrics = pos::metrics_t{};
    pos::count_rule_t rule(metrics);
    walkEvents(doc, rule);
    rule.finish();
    return true;
}

std::string event_log_t::quoted(pos::attr_t value) {
    return value ? "\"" + printable(std::string(*value)) + "\"" : "-";
}

void event_log_t::endGoal() {
    if (!goal_.empty())
        body_ += goal_ + "\n" + results_;
    goal_.clear();
    results_.clear();
}

void event_log_t::obligation(long long line) {
    endObligation();
    header_ = "obligation " + std::to_string(line);
    inObligation_ = true;
}

void event_log_t::goal(long long line, pos::attr_t status) {
    endGoal();
    goal_ = "  goal " + std::to_string(line) + " " + quoted(status);
}

void event_log_t::mechanism(long long line, pos::attr_t name, pos::attr_t status) {
    results_ +=
        "    mechanism " + std::to_string(line) + " " + quoted(name) + " " + quoted(status) + "\n";
}

void event_log_t::driver(long long line, pos::attr_t name, pos::attr_t status) {
    results_ +=
        "      driver " + std::to_string(line) + " " + quoted(name) + " " + quoted(status) + "\n";
}

std::string event_log_t::text() {
    endObligation();
    return log_;
}

void event_log_t::endObligation() {
    endGoal();
    if (inObligation_)
        log_ += header_ + " tag " + quoted(tag_) + "\n" + body_;
    inObligation_ = false;
    body_.clear();
    tag_.clear();
}

namespace {

const char* word(pos::po_read_t read) {
    return read == pos::po_read_t::read        ? "read"
           : read == pos::po_read_t::malformed ? "malformed"
                                               : "unopened";
}

} // namespace

std::string scannedEvents(std::string const& path, std::size_t buffer) {
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file))
        return "unopened";
    event_log_t log;
    return pos::scanEvents(file, log, buffer) ? "read\n" + log.text() : "refused";
}

std::string parsedEvents(std::string const& path) {
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file))
        return "unopened";
    event_log_t log;
    const pos::po_read_t read = pos::parseEvents(file, log);
    return std::string(word(read)) + "\n" + log.text();
}

std::string walkedEvents(std::string const& path) {
    QDomDocument doc;
    const pos::load_t loaded = pos::loadDocument(QString::fromStdString(path), doc, nullptr);
    if (loaded == pos::load_t::unopened)
        return "unopened";
    event_log_t log;
    walkEvents(doc, log);
    return std::string(loaded == pos::load_t::parsed ? "read" : "malformed") + "\n" + log.text();
}
