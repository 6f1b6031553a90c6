#include "pos/pos.h"

#include "pos/pos_internal.h"

#include <stdexcept>

// Runs only after an edit has stopped on an unknown value, on the document
// it has loaded.

namespace pos {

namespace {

unknown_status_t found(QDomElement const& e, QString const& value) {
    return {e.lineNumber(), value.toUtf8().toStdString()};
}

bool known(QString const& value, status_t (*lookup)(QString const&), status_t* status = nullptr) {
    try {
        const status_t s = lookup(value);
        if (status)
            *status = s;
        return true;
    } catch (std::out_of_range const&) {
        return false;
    }
}

template <typename Visit>
std::optional<unknown_status_t> eachGoal(QDomDocument const& doc, Visit visit) {
    const QDomElement root = doc.documentElement();
    for (QDomElement po = root.firstChildElement(TAG_PROOF_OBLIGATION); !po.isNull();
         po = po.nextSiblingElement(TAG_PROOF_OBLIGATION))
        for (QDomElement goal = po.firstChildElement(TAG_SIMPLE_GOAL); !goal.isNull();
             goal = goal.nextSiblingElement(TAG_SIMPLE_GOAL))
            if (auto unknown = visit(goal))
                return unknown;
    return std::nullopt;
}

std::optional<unknown_status_t> check(QDomElement const& e, QString const& value,
                                      status_t (*lookup)(QString const&),
                                      status_t* status = nullptr) {
    if (known(value, lookup, status))
        return std::nullopt;
    return found(e, value);
}

// A goal's, mechanism's or driver's status; an absent one reads as "Unproved".
std::optional<unknown_status_t> status(QDomElement const& e, status_t* s = nullptr) {
    return check(e, e.attribute(ATTR_STATUS, ATTR_VALUE_UNPROVED), proofStatusOfAttrValue, s);
}

} // namespace

std::optional<unknown_status_t> findUnknownStatus(QDomDocument const& doc) {
    return eachGoal(doc, [](QDomElement const& goal) -> std::optional<unknown_status_t> {
        if (auto unknown = status(goal))
            return unknown;
        // The count looks at the mechanisms up to the first proved one before
        // it counts any of them with their drivers.
        for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
             m = m.nextSiblingElement(TAG_MECHANISM)) {
            status_t s = UNPROVED;
            if (auto unknown = status(m, &s))
                return unknown;
            if (s == PROVED)
                break;
        }
        for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
             m = m.nextSiblingElement(TAG_MECHANISM)) {
            if (auto unknown = status(m))
                return unknown;
            for (QDomElement d = m.firstChildElement(TAG_DRIVER); !d.isNull();
                 d = d.nextSiblingElement(TAG_DRIVER))
                if (auto unknown = status(d))
                    return unknown;
        }
        return std::nullopt;
    });
}

std::optional<unknown_status_t> findUnknownVerdict(QDomDocument const& doc) {
    return eachGoal(doc, [](QDomElement const& goal) -> std::optional<unknown_status_t> {
        const QDomElement iapa = goal.firstChildElement(TAG_IAPA);
        if (!iapa.isNull()) {
            const QDomElement verdict = iapa.firstChildElement(TAG_STATUS);
            const QDomElement where = verdict.isNull() ? iapa : verdict;
            if (auto unknown =
                    check(where, verdict.attribute(ATTR_VALUE, QString()), statusOfVerdict))
                return unknown;
        }
        for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
             m = m.nextSiblingElement(TAG_MECHANISM))
            if (auto unknown =
                    check(m, m.attribute(ATTR_STATUS, QString()), statusOfMechanismResult))
                return unknown;
        return std::nullopt;
    });
}

} // namespace pos
