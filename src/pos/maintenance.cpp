#include "pos/pos.h"
#include "pos/pos_internal.h"
#include "pos/record_builder.h"

#include <QTextStream>

#include <algorithm>
#include <cstdio>

namespace pos {

namespace {

attr_t attribute(QDomElement const& e, QString const& name, QByteArray& utf8) {
    if (!e.hasAttribute(name))
        return std::nullopt;
    utf8 = e.attribute(name).toUtf8();
    return std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size()));
}

// Hands `use` the goal element as a record: the one way the operations on a
// document read a goal, so that they ask the rules what every reader asks.
template <typename Use> void withRecord(QDomElement const& goal, Use const& use) {
    struct once_t : goal_consumer_t {
        explicit once_t(Use const& f) : use(f) {}
        void restart() override {}
        void goal(goal_record_t const& record) override { use(record); }
        Use const& use;
    } once(use);
    record_builder_t builder(once);
    QByteArray name, status;
    builder.goal(goal.lineNumber(), attribute(goal, ATTR_STATUS, status));
    const QDomElement state = goal.firstChildElement(TAG_PROOF_STATE);
    if (!state.isNull())
        builder.proofState(attribute(state, ATTR_PROOF_STATE, status));
    const QDomElement iapa = goal.firstChildElement(TAG_IAPA);
    if (!iapa.isNull()) {
        builder.iapa(iapa.lineNumber());
        const QDomElement verdict = iapa.firstChildElement(TAG_STATUS);
        if (!verdict.isNull())
            builder.verdict(verdict.lineNumber(), attribute(verdict, ATTR_VALUE, status));
    }
    for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
         m = m.nextSiblingElement(TAG_MECHANISM)) {
        builder.mechanism(m.lineNumber(), attribute(m, ATTR_NAME, name),
                          attribute(m, ATTR_STATUS, status));
        for (QDomElement d = m.firstChildElement(TAG_DRIVER); !d.isNull();
             d = d.nextSiblingElement(TAG_DRIVER))
            builder.driver(d.lineNumber(), attribute(d, ATTR_NAME, name),
                           attribute(d, ATTR_STATUS, status));
    }
    builder.endGoal();
}

// Only the module's own operations judge goals by this rule.
status_t expectedStatus(QDomElement const& goal) {
    status_t status = UNPROVED;
    withRecord(goal,
               [&status](goal_record_t const& record) { status = pos::expectedStatus(record); });
    return status;
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

bool checkPosInvariant(QDomDocument const& doc) {
    // No goal after the first inconsistent one is examined.
    return forEachGoal(doc, [](QDomElement const& goal) {
        const status_t expected = expectedStatus(goal);
        status_t recorded = expected;
        withRecord(goal,
                   [&recorded](goal_record_t const& record) { recorded = recordedStatus(record); });
        if (recorded == expected)
            return true;
        QTextStream stream(stderr);
        goal.save(stream, XML_INDENT, QDomNode::EncodingFromDocument);
        return false;
    });
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
        withRecord(goal, [&goal](goal_record_t const& record) {
            const unprove_t after = unproveGoal(record);
            for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
                 m = m.nextSiblingElement(TAG_MECHANISM))
                m.setAttribute(ATTR_STATUS, strOfProofStatus(after.mechanism));
            goal.setAttribute(ATTR_STATUS, strOfProofStatus(after.goal));
        });
        return true;
    });
}

bool removeMechanism(QDomDocument& doc, std::string const& name, bool& removed) {
    removed = false;
    if (doc.isNull())
        return false;
    return forEachGoal(doc, [&name, &removed](QDomElement goal) {
        bool done = true;
        withRecord(goal, [&](goal_record_t const& record) {
            const std::size_t index = mechanismToRemove(record, name);
            if (index == NO_MECHANISM)
                return;
            QDomElement m = goal.firstChildElement(TAG_MECHANISM);
            for (std::size_t i = 0; i < index; ++i)
                m = m.nextSiblingElement(TAG_MECHANISM);
            if (goal.removeChild(m).isNull()) {
                done = false;
                return;
            }
            removed = true;
            if (const auto status = statusAfterRemoval(record, index))
                goal.setAttribute(ATTR_STATUS, strOfProofStatus(*status));
        });
        return done;
    });
}

} // namespace pos
