#include "prooftally/goals.h"

#include <algorithm>
#include <cstdio>

namespace {

// A mechanism's or driver's status attribute read by the goal's rule: the
// same words, "Unproved" when absent, the same exception for an unknown one.
class status_reader_t {
public:
    pos::status_t operator()(pos::attr_t status, long long line) {
        probe_.status = status;
        probe_.line = line;
        return pos::recordedStatus(probe_);
    }

private:
    pos::goal_record_t probe_;
};

// Counts a file's goals and lists them when asked.
class lister_t : public pos::goal_consumer_t {
public:
    lister_t(pos::metrics_t& metrics, goal_list_t* goals) : metrics_(metrics), goals_(goals) {}
    void restart() override {
        metrics_ = pos::metrics_t{};
        if (goals_)
            goals_->clear();
    }
    void goal(pos::goal_record_t const& goal) override {
        pos::countGoal(goal, metrics_);
        if (goals_)
            goals_->add(goal);
    }
    // A tag may come after the obligation's goals.
    void endObligation(pos::obligation_record_t const& obligation) override {
        if (goals_)
            goals_->end_obligation(obligation);
    }

private:
    pos::metrics_t& metrics_;
    goal_list_t* goals_;
};

// A tag as one line can show it: quotes, backslashes and control characters
// escaped.
void append_quoted(std::string& out, std::string_view text) {
    out += '"';
    std::size_t plain = 0; // the start of the bytes not yet written
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(text.data() + plain, i - plain);
        plain = i + 1;
        if (c >= 0x20) {
            out += '\\';
            out += static_cast<char>(c);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
            out += escaped;
        }
    }
    out.append(text.data() + plain, text.size() - plain);
    out += '"';
}

// ": Proved" and the like, made once.
std::string const& after_name(pos::status_t status) {
    static std::string const words[] = {
        ": " + status_word(pos::UNPROVED), ": " + status_word(pos::UNKNOWN),
        ": " + status_word(pos::UNRELIABLY_PROVED), ": " + status_word(pos::PROVED),
        ": " + status_word(pos::DISPROVED)};
    return words[status];
}

} // namespace

std::string const& status_word(pos::status_t status) {
    static std::string const words[] = {pos::strOfProofStatus(pos::UNPROVED).toStdString(),
                                        pos::strOfProofStatus(pos::UNKNOWN).toStdString(),
                                        pos::strOfProofStatus(pos::UNRELIABLY_PROVED).toStdString(),
                                        pos::strOfProofStatus(pos::PROVED).toStdString(),
                                        pos::strOfProofStatus(pos::DISPROVED).toStdString()};
    return words[status];
}

std::string obligation_key(std::string_view tag, std::uint32_t occurrence,
                           std::uint32_t obligation) {
    if (tag.empty())
        return "obligation " + std::to_string(obligation);
    std::string key;
    append_quoted(key, tag);
    if (occurrence > 1)
        key += " #" + std::to_string(occurrence);
    return key;
}

std::string_view goal_list_t::tag(goal_t const& g) const {
    goal_obligation_t const& o = obligations_[g.obligation];
    return {text_.data() + o.tag, o.tag_size};
}

std::shared_ptr<obligation_name_t const> const& goal_list_t::name(goal_t const& g) const {
    goal_obligation_t const& o = obligations_[g.obligation];
    if (!o.name) {
        std::string_view const text = tag(g);
        o.name = std::make_shared<obligation_name_t const>(
            obligation_name_t{std::string(text), obligation_key(text, o.tag_occurrence, o.number)});
    }
    return o.name;
}

void goal_list_t::clear() {
    goals_.clear();
    obligations_.clear();
    results_.clear();
    text_.clear();
    tags_.clear();
    open_ = 0;
}

void goal_list_t::add(pos::goal_record_t const& goal) {
    if (obligations_.empty() || goal.obligation->number != open_) {
        open_ = goal.obligation->number;
        obligations_.push_back({open_, 0, 0, 0, {}});
    }
    goal_t& g = goals_.emplace_back();
    g.obligation = static_cast<std::uint32_t>(obligations_.size() - 1);
    g.number = goal.number;
    g.line = goal.line;
    g.status = pos::recordedStatus(goal);
    g.first_result = results_.size();
    g.results = text_.size();
    status_reader_t status_of;
    // Each result is written as the reports show it: name, colon, status.
    auto const result = [this, &status_of](pos::attr_t name, pos::attr_t status, long long line,
                                           bool driver) {
        std::string_view const text = name.value_or("");
        pos::status_t const s = status_of(status, line);
        results_.push_back({text_.size(), text.size(), s, driver});
        text_ += text;
        text_ += after_name(s);
    };
    for (pos::mechanism_record_t const& m : goal.mechanisms) {
        if (g.results != text_.size())
            text_ += ", ";
        result(m.name, m.status, m.line, false);
        for (pos::driver_record_t const& d : m.drivers) {
            text_ += &d == m.drivers.begin() ? " [" : ", ";
            result(d.name, d.status, d.line, true);
        }
        if (m.drivers.size())
            text_ += "]";
    }
    g.results_size = text_.size() - g.results;
    g.end_result = results_.size();
}

void goal_list_t::end_obligation(pos::obligation_record_t const& obligation) {
    // An obligation without goals names none.
    if (obligations_.empty() || obligations_.back().number != obligation.number)
        return;
    goal_obligation_t& o = obligations_.back();
    o.tag = text_.size();
    o.tag_size = obligation.tag.size();
    text_ += obligation.tag;
    if (!obligation.tag.empty())
        o.tag_occurrence = ++tags_[std::string(obligation.tag)];
}

pos::po_read_t count_po_file(std::string const& path, pos::metrics_t& metrics, goal_list_t* goals,
                             pos::read_state_t& state) {
    metrics = pos::metrics_t{};
    if (goals)
        goals->clear();
    lister_t lister(metrics, goals);
    state = pos::readPoFile(path, lister);
    if (state.read == pos::po_read_t::unopened) {
        metrics = pos::metrics_t{};
        if (goals)
            goals->clear();
    }
    return state.read;
}
