#include "pos/pos.h"
#include "pos/pos_internal.h"

#include <QTextStream>

#include <algorithm>
#include <cstdio>

namespace pos {

status_t statusOfVerdict(QString const& value) {
    static const std::map<QString, status_t> dict{
        {ATTR_VALUE_UNPROVED, UNPROVED},
        {ATTR_VALUE_UNKNOWN, UNPROVED},
        {ATTR_VALUE_VALID, UNRELIABLY_PROVED},
        {ATTR_VALUE_INVALID, DISPROVED},
    };
    return dict.at(value);
}

status_t statusOfMechanismResult(QString const& value) {
    static const std::map<QString, status_t> dict{
        {ATTR_VALUE_UNPROVED, UNPROVED},   {ATTR_VALUE_UNKNOWN, UNPROVED},
        {ATTR_VALUE_PROVED, PROVED},       {ATTR_VALUE_UNRELIABLY_PROVED, UNRELIABLY_PROVED},
        {ATTR_VALUE_DISPROVED, DISPROVED},
    };
    return dict.at(value);
}

namespace {

// Only the module's own operations judge goals by this rule.
status_t expectedStatus(QDomElement const& goal) {
    unsigned tally[DISPROVED + 1] = {};

    const QString proofState =
        goal.firstChildElement(TAG_PROOF_STATE).attribute(ATTR_PROOF_STATE, QString());
    ++tally[proofProvedStatuses.contains(proofState) ? PROVED : UNPROVED];

    const QDomElement iapa = goal.firstChildElement(TAG_IAPA);
    if (!iapa.isNull())
        ++tally[statusOfVerdict(
            iapa.firstChildElement(TAG_STATUS).attribute(ATTR_VALUE, QString()))];

    for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
         m = m.nextSiblingElement(TAG_MECHANISM))
        ++tally[statusOfMechanismResult(m.attribute(ATTR_STATUS, QString()))];

    // Any disproof outweighs every proof; a full proof outweighs an unreliable one.
    for (status_t s : {DISPROVED, PROVED, UNRELIABLY_PROVED})
        if (tally[s] > 0)
            return s;
    return UNPROVED;
}

status_t recordedStatus(QDomElement const& goal) {
    return proofStatusOfAttrValue(goal.attribute(ATTR_STATUS, ATTR_VALUE_UNPROVED));
}

// Calls `visit` on each goal of the document, in document order; stops early
// when `visit` returns false, and then returns false itself.
template <typename Visit> bool forEachGoal(QDomDocument const& doc, Visit visit) {
    const QDomElement root = doc.documentElement();
    for (QDomElement po = root.firstChildElement(TAG_PROOF_OBLIGATION); !po.isNull();
         po = po.nextSiblingElement(TAG_PROOF_OBLIGATION)) {
        for (QDomElement goal = po.firstChildElement(TAG_SIMPLE_GOAL); !goal.isNull();
             goal = goal.nextSiblingElement(TAG_SIMPLE_GOAL))
            if (!visit(goal))
                return false;
    }
    return true;
}

} // namespace

std::vector<inconsistent_goal_t> findInconsistentGoals(QDomDocument const& doc, std::size_t limit) {
    std::vector<inconsistent_goal_t> found;
    if (limit == 0)
        return found;
    forEachGoal(doc, [&found, limit](QDomElement const& goal) {
        const status_t expected = expectedStatus(goal);
        const status_t recorded = recordedStatus(goal);
        if (recorded != expected)
            found.push_back(inconsistent_goal_t{goal, recorded, expected});
        return found.size() < limit;
    });
    return found;
}

void writeGoal(QDomElement const& goal, std::FILE* out) {
    QTextStream stream(out);
    goal.save(stream, XML_INDENT, QDomNode::EncodingFromDocument);
    stream.flush();
}

bool checkPosInvariant(QDomDocument const& doc) {
    // No goal after the first inconsistent one is examined.
    const auto inconsistent = findInconsistentGoals(doc, 1);
    if (!inconsistent.empty())
        writeGoal(inconsistent.front().goal, stderr);
    return inconsistent.empty();
}

bool getMechanisms(std::string const& path, std::list<std::string>& mechanismNames) {
    const QDomDocument doc = domOfPath(path);
    if (doc.isNull())
        return false;
    mechanismNames.clear();
    // The goals' own statuses are not read: a listing must not fail on them.
    forEachGoal(doc, [&mechanismNames](QDomElement const& goal) {
        for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
             m = m.nextSiblingElement(TAG_MECHANISM)) {
            const std::string name = m.attribute(ATTR_NAME).toStdString();
            if (std::find(mechanismNames.begin(), mechanismNames.end(), name) ==
                mechanismNames.end())
                mechanismNames.push_back(name);
        }
        return true;
    });
    return true;
}

void unprove(QDomDocument& doc) {
    forEachGoal(doc, [](QDomElement goal) {
        for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
             m = m.nextSiblingElement(TAG_MECHANISM))
            m.setAttribute(ATTR_STATUS, ATTR_VALUE_UNPROVED);
        // The iapa verdict is deliberately ignored: only the built-in prover's
        // result stands.
        const QString proofState = goal.firstChildElement(TAG_PROOF_STATE)
                                       .attribute(ATTR_PROOF_STATE, ATTR_VALUE_UNPROVED);
        goal.setAttribute(
            ATTR_STATUS,
            strOfProofStatus(proofProvedStatuses.contains(proofState) ? PROVED : UNPROVED));
        return true;
    });
}

bool removeMechanism(QDomDocument& doc, std::string const& name, bool& removed) {
    removed = false;
    if (doc.isNull())
        return false;
    return forEachGoal(doc, [&name, &removed](QDomElement goal) {
        QDomElement m = goal.firstChildElement(TAG_MECHANISM);
        while (!m.isNull() && m.attribute(ATTR_NAME).toStdString() != name)
            m = m.nextSiblingElement(TAG_MECHANISM);
        if (m.isNull())
            return true;
        if (goal.removeChild(m).isNull())
            return false;
        removed = true;
        const status_t expected = expectedStatus(goal);
        // An unchanged status keeps its exact text, or its absence.
        if (recordedStatus(goal) != expected)
            goal.setAttribute(ATTR_STATUS, strOfProofStatus(expected));
        return true;
    });
}

} // namespace pos
