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

// Feeds an element of `role` and the children the rules read, by the same
// roles as the readers give them.
void feed(record_builder_t& out, QDomElement const& e, role_t role) {
    QByteArray name, status, value;
    out.start(role, e.lineNumber(), attribute(e, ATTR_NAME, name),
              attribute(e, ATTR_STATUS, status),
              attribute(e, role == role_t::verdict ? ATTR_VALUE : ATTR_PROOF_STATE, value));
    unsigned char seen = 0;
    for (QDomElement c = e.firstChildElement(); !c.isNull(); c = c.nextSiblingElement()) {
        const role_t child = childRole(
            role, [&c](QString const& tag) { return c.tagName() == tag; }, seen);
        if (child != role_t::other)
            feed(out, c, child);
    }
    out.end(role);
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
    record_builder_t out(once);
    feed(out, goal, role_t::goal);
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
        bool consistent = true;
        withRecord(goal, [&consistent](goal_record_t const& record) {
            const status_t expected = expectedStatus(record);
            consistent = recordedStatus(record) == expected;
        });
        if (!consistent) {
            QTextStream stream(stderr);
            goal.save(stream, XML_INDENT, QDomNode::EncodingFromDocument);
        }
        return consistent;
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
            for (QDomElement m = goal.firstChildElement(TAG_MECHANISM); !m.isNull();
                 m = m.nextSiblingElement(TAG_MECHANISM))
                m.setAttribute(ATTR_STATUS, ATTR_VALUE_UNPROVED);
            goal.setAttribute(ATTR_STATUS, strOfProofStatus(unprovedStatus(record)));
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
