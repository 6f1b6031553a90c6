// Adding one counted goal or result to a record: the streaming count and the
// fast scanner fill records through these, so that both fill them alike.
#ifndef POS_RECORDS_H
#define POS_RECORDS_H

#include "pos/pos.h"

namespace pos {

// The entry of `key`, made on first use; the key is not copied when the
// entry exists.
template <typename Map>
typename Map::mapped_type::element_type& entry(Map& map, std::string const& key) {
    auto it = map.find(key);
    if (it == map.end())
        it = map.emplace(key, std::make_unique<typename Map::mapped_type::element_type>()).first;
    return *it->second;
}

// A goal of this status: nb_po and its status's counter (none for Unknown).
inline void addGoal(metrics_t& m, status_t status) {
    ++m.nb_po;
    switch (status) {
    case UNPROVED:
        ++m.nb_unproved;
        break;
    case PROVED:
        ++m.nb_proved;
        break;
    case UNRELIABLY_PROVED:
        ++m.nb_unreliably_proved;
        break;
    case DISPROVED:
        ++m.nb_disproved;
        break;
    case UNKNOWN:
        break;
    }
}

inline void addResult(mechanism_metrics_t& m, status_t status) {
    switch (status) {
    case UNPROVED:
        ++m.nb_unproved;
        break;
    case UNKNOWN:
        ++m.nb_unknown;
        break;
    case PROVED:
        ++m.nb_proved;
        break;
    case UNRELIABLY_PROVED:
        ++m.nb_unreliably_proved;
        break;
    case DISPROVED:
        ++m.nb_disproved;
        break;
    }
}

inline void addResult(driver_metrics_t& d, status_t status) {
    switch (status) {
    case UNPROVED:
        ++d.nb_unproved;
        break;
    case UNKNOWN:
        ++d.nb_unknown;
        break;
    case PROVED:
        ++d.nb_proved;
        break;
    case DISPROVED:
        ++d.nb_disproved;
        break;
    case UNRELIABLY_PROVED: // a driver has no counter for it
        break;
    }
}

} // namespace pos

#endif
