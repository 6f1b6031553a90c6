// The count as a walk of the whole document: slow and memory-hungry. It
// counts the files that the streaming reader cannot read to the end, and is
// the reference that the streaming count is compared with.
#include "pos/pos_internal.h"

namespace pos {

namespace {

template <typename Record> std::uint32_t& mechanismCounter(Record& r, status_t s) {
    switch (s) {
    case UNPROVED:
        return r.nb_unproved;
    case UNKNOWN:
        return r.nb_unknown;
    case PROVED:
        return r.nb_proved;
    case UNRELIABLY_PROVED:
        return r.nb_unreliably_proved;
    case DISPROVED:
        break;
    }
    return r.nb_disproved;
}

void countDrivers(QDomElement const& mechanism, mechanism_metrics_t& entry) {
    for (QDomElement driver = mechanism.firstChildElement(TAG_DRIVER); !driver.isNull();
         driver = driver.nextSiblingElement(TAG_DRIVER)) {
        auto& slot = entry.drivers[driver.attribute(ATTR_NAME).toStdString()];
        if (!slot)
            slot = std::make_unique<driver_metrics_t>();
        switch (proofStatusOfAttrValue(driver.attribute(ATTR_STATUS, ATTR_VALUE_UNPROVED))) {
        case UNPROVED:
            ++slot->nb_unproved;
            break;
        case UNKNOWN:
            ++slot->nb_unknown;
            break;
        case PROVED:
            ++slot->nb_proved;
            break;
        case DISPROVED:
            ++slot->nb_disproved;
            break;
        case UNRELIABLY_PROVED: // a driver has no counter for it
            break;
        }
    }
}

void countGoal(QDomElement const& goal, metrics_t& metrics) {
    const status_t status =
        proofStatusOfAttrValue(goal.attribute(ATTR_STATUS, ATTR_VALUE_UNPROVED));
    ++metrics.nb_po;
    switch (status) {
    case UNPROVED:
        ++metrics.nb_unproved;
        break;
    case PROVED:
        ++metrics.nb_proved;
        break;
    case UNRELIABLY_PROVED:
        ++metrics.nb_unreliably_proved;
        break;
    case DISPROVED:
        ++metrics.nb_disproved;
        break;
    case UNKNOWN:
        break;
    }

    const QString proofState =
        goal.firstChildElement(TAG_PROOF_STATE).attribute(ATTR_PROOF_STATE, ATTR_VALUE_UNPROVED);
    if (proofProvedStatuses.contains(proofState))
        ++metrics.nb_int;

    for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
         m = m.nextSiblingElement(TAG_MECHANISM)) {
        if (proofStatusOfAttrValue(m.attribute(ATTR_STATUS, ATTR_VALUE_UNPROVED)) == PROVED) {
            ++metrics.nb_ext;
            break;
        }
    }

    for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
         m = m.nextSiblingElement(TAG_MECHANISM)) {
        auto& slot = metrics.mechanisms[m.attribute(ATTR_NAME).toStdString()];
        if (!slot)
            slot = std::make_unique<mechanism_metrics_t>();
        ++mechanismCounter(*slot,
                           proofStatusOfAttrValue(m.attribute(ATTR_STATUS, ATTR_VALUE_UNPROVED)));
        countDrivers(m, *slot);
    }
}

} // namespace

void countDocument(QDomDocument const& doc, metrics_t& metrics) {
    metrics = metrics_t{};
    const QDomElement root = doc.documentElement();
    for (QDomElement po = root.firstChildElement(TAG_PROOF_OBLIGATION); !po.isNull();
         po = po.nextSiblingElement(TAG_PROOF_OBLIGATION)) {
        for (QDomElement goal = po.firstChildElement(TAG_SIMPLE_GOAL); !goal.isNull();
             goal = goal.nextSiblingElement(TAG_SIMPLE_GOAL))
            countGoal(goal, metrics);
    }
}

bool domMetrics(std::string const& path, metrics_t& metrics) {
    const QDomDocument doc = domOfPath(path);
    if (doc.isNull())
        return false;
    countDocument(doc, metrics);
    return true;
}

} // namespace pos
