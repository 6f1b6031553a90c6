#include "test_support.h"

#include "pos/pos_internal.h"
#include "pos/xml_load.h"

#include <cstdio>
#include <deque>
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
        if (static_cast<unsigned char>(c) >= 0x20) {
            text += c;
            continue;
        }
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(c));
        text += escaped;
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
    } catch (pos::unknown_status_error const& e) {
        result = std::string("out_of_range ") + e.what() + " \"" + printable(e.value) + "\" line " +
                 std::to_string(e.line);
    } catch (std::out_of_range const& e) {
        result = std::string("out_of_range ") + e.what();
    }
    return result + " | " + describe(m);
}

namespace {

template <typename Visit>
void children(QDomElement const& parent, QString const& tag, Visit visit) {
    for (QDomElement e = parent.firstChildElement(tag); !e.isNull(); e = e.nextSiblingElement(tag))
        visit(e);
}

} // namespace

void walkRecords(QDomDocument const& doc, pos::goal_consumer_t& consumer) {
    std::uint32_t obligations = 0;
    children(doc.documentElement(), pos::TAG_PROOF_OBLIGATION, [&](QDomElement const& po) {
        const std::string tag = po.firstChildElement(pos::TAG_TAG).text().toStdString();
        pos::obligation_record_t obligation{++obligations, po.lineNumber(), {}, false};
        std::uint32_t number = 0;
        // A goal knows its tag once the obligation's first Tag stands before it.
        for (QDomElement child = po.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement()) {
            if (child.tagName() == pos::TAG_TAG) {
                obligation.tagRead = true;
                obligation.tag = tag;
            }
            if (child.tagName() != pos::TAG_SIMPLE_GOAL)
                continue;
            std::deque<std::string> texts; // stay where they are while they grow
            const auto attr = [&texts](QDomElement const& e, QString const& name) -> pos::attr_t {
                if (!e.hasAttribute(name))
                    return std::nullopt;
                return texts.emplace_back(e.attribute(name).toStdString());
            };
            pos::goal_record_t goal;
            goal.obligation = &obligation;
            goal.number = ++number;
            goal.line = child.lineNumber();
            goal.status = attr(child, pos::ATTR_STATUS);
            const QDomElement state = child.firstChildElement(pos::TAG_PROOF_STATE);
            if (!state.isNull())
                goal.proofState = attr(state, pos::ATTR_PROOF_STATE);
            const QDomElement iapa = child.firstChildElement(pos::TAG_IAPA);
            const QDomElement verdict = iapa.firstChildElement(pos::TAG_STATUS);
            if (iapa.isNull())
                goal.verdict = {pos::verdict_record_t::no_iapa, {}, 0};
            else if (verdict.isNull())
                goal.verdict = {pos::verdict_record_t::no_status, {}, iapa.lineNumber()};
            else if (!verdict.hasAttribute(pos::ATTR_VALUE))
                goal.verdict = {pos::verdict_record_t::no_value, {}, verdict.lineNumber()};
            else
                goal.verdict = {pos::verdict_record_t::value, *attr(verdict, pos::ATTR_VALUE),
                                verdict.lineNumber()};
            std::vector<pos::mechanism_record_t> mechanisms;
            std::vector<pos::driver_record_t> drivers;
            children(child, pos::TAG_MECHANISM, [&](QDomElement const& m) {
                pos::mechanism_record_t& mechanism = mechanisms.emplace_back();
                mechanism.line = m.lineNumber();
                mechanism.name = attr(m, pos::ATTR_NAME);
                mechanism.status = attr(m, pos::ATTR_STATUS);
                children(m, pos::TAG_DRIVER, [&](QDomElement const& d) {
                    drivers.push_back(
                        {d.lineNumber(), attr(d, pos::ATTR_NAME), attr(d, pos::ATTR_STATUS)});
                    ++mechanism.drivers.count;
                });
            });
            std::size_t first = 0;
            for (pos::mechanism_record_t& m : mechanisms) {
                m.drivers.first = drivers.data() + first;
                first += m.drivers.count;
            }
            goal.mechanisms = {mechanisms.data(), mechanisms.size()};
            consumer.goal(goal);
        }
        obligation.tag = tag;
        obligation.tagRead = true;
        consumer.endObligation(obligation);
    });
}

namespace {

class dom_counter_t : public pos::goal_consumer_t {
public:
    explicit dom_counter_t(pos::metrics_t& metrics) : metrics_(metrics) {}
    void restart() override {}
    void goal(pos::goal_record_t const& goal) override { pos::countGoal(goal, metrics_); }

private:
    pos::metrics_t& metrics_;
};

} // namespace

bool domMetrics(std::string const& path, pos::metrics_t& metrics) {
    const QDomDocument doc = pos::domOfPath(path);
    if (doc.isNull())
        return false;
    metrics = pos::metrics_t{};
    dom_counter_t counter(metrics);
    walkRecords(doc, counter);
    return true;
}

namespace {

void add(std::string& out, std::initializer_list<std::string_view> parts) {
    for (std::string_view part : parts)
        out += part;
}

std::string quoted(pos::attr_t value) {
    return value ? "\"" + printable(std::string(*value)) + "\"" : "-";
}

std::string span(pos::span_t const& s) {
    return "[" + std::to_string(s.begin) + "," + std::to_string(s.end) + ")";
}

std::string span(pos::attr_span_t const& s) {
    return s.quote ? span(s.value) + s.quote : std::string("-");
}

std::string span(pos::tag_span_t const& s) {
    return " insert " + std::to_string(s.insert) + s.addQuote + " status " + span(s.status);
}

} // namespace

void record_log_t::goal(pos::goal_record_t const& goal) {
    static const char* const kinds[] = {"none", "without status", "without value", "value"};
    pos::verdict_record_t const& v = goal.verdict;
    using std::to_string;
    add(log_, {"  goal ", to_string(goal.obligation->number), ".", to_string(goal.number), " line ",
               to_string(goal.line), " ", quoted(goal.status), " state ", quoted(goal.proofState),
               " iapa ", kinds[v.kind]});
    if (v.kind != pos::verdict_record_t::no_iapa)
        add(log_, {" ", quoted(v.kind == v.value ? pos::attr_t(v.text) : std::nullopt), " line ",
                   to_string(v.line)});
    if (goal.obligation->tagRead)
        add(log_, {" tag ", quoted(goal.obligation->tag)});
    log_ += "\n";
    if (goal.hasSpans)
        add(spans_, {"goal ", span(goal.element), span(goal.tag), "\n"});
    for (pos::mechanism_record_t const& m : goal.mechanisms) {
        add(log_, {"    mechanism ", to_string(m.line), " ", quoted(m.name), " ", quoted(m.status),
                   "\n"});
        if (goal.hasSpans)
            add(spans_, {"  mechanism ", span(m.element), span(m.tag), " name ", span(m.name_span),
                         " blanks ", to_string(m.blanks), m.textBefore ? " text before" : "",
                         m.textAfter ? " text after\n" : "\n"});
        for (pos::driver_record_t const& d : m.drivers)
            add(log_, {"      driver ", to_string(d.line), " ", quoted(d.name), " ",
                       quoted(d.status), "\n"});
    }
}

void record_log_t::endObligation(pos::obligation_record_t const& obligation) {
    log_ += "obligation " + std::to_string(obligation.number) + " line " +
            std::to_string(obligation.line) + " tag " + quoted(obligation.tag) + "\n";
}

namespace {

std::string state(pos::read_state_t const& read) {
    switch (read.read) {
    case pos::po_read_t::read:
        return "read";
    case pos::po_read_t::malformed:
        return "malformed " + std::to_string(read.line) + ":" + std::to_string(read.column) + ": " +
               read.message;
    default:
        return "unopened";
    }
}

} // namespace

std::string scannedRecords(std::string const& path, std::size_t buffer, std::string* spans) {
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file))
        return "unopened";
    record_log_t log;
    const bool read = pos::scanRecords(file, log, buffer);
    if (spans)
        *spans = log.spans();
    return read ? "read\n" + log.text() : "refused";
}

std::string parsedRecords(std::string const& path) {
    QFile file;
    if (!pos::openRegularFile(QString::fromStdString(path), file))
        return "unopened";
    record_log_t log;
    const pos::read_state_t read = pos::parseRecords(QString::fromStdString(path), file, log);
    return state(read) + "\n" + log.text();
}

std::string walkedRecords(std::string const& path) {
    QDomDocument doc;
    pos::read_state_t read = pos::loadPoDocument(path, doc);
    if (read.read == pos::po_read_t::unopened)
        return "unopened";
    record_log_t log;
    walkRecords(doc, log);
    return state(read) + "\n" + log.text();
}
