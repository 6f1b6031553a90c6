#include "prooftally/collect.h"

#include "db/bdp.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t NO_FAILURE = std::numeric_limits<std::size_t>::max();

// The components handed out in list order to the workers, and the first one
// (in that order) known to hold an unknown status. With a sink, the workers
// stay within `window` components of the next one it takes, so that only
// that many goal lists stand at a time, and the lists are reused.
struct Work {
    Work(component_list_t& list, bool withGoals, bool inOrder, std::size_t ahead)
        : components(list), goals(withGoals), windowed(inOrder), window(ahead) {}
    component_list_t& components;
    bool goals;
    bool windowed;
    std::size_t window;
    std::vector<std::exception_ptr> errors;
    std::vector<unknown_status_t> unknown;
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> firstFailure{NO_FAILURE};
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::vector<char> done;
    std::size_t handed = 0;
    std::vector<goal_list_t> spare;
};

void failAt(Work& work, std::size_t i) {
    std::size_t known = work.firstFailure.load();
    while (i < known && !work.firstFailure.compare_exchange_weak(known, i)) {
    }
}

void countComponent(Work& work, std::size_t i) {
    component_t& c = work.components[i];
    try {
        pos::read_state_t state;
        c.read = count_po_file(c.path, c.metrics, work.goals ? &c.goals : nullptr, state);
        c.error_line = state.line;
        c.error_column = state.column;
        c.error_reason = std::move(state.message);
    } catch (pos::unknown_status_error const& e) {
        work.unknown[i] = {c.path, e.line, e.value};
        failAt(work, i);
    } catch (std::out_of_range const&) {
        work.unknown[i] = {c.path, 0, {}};
        failAt(work, i);
    } catch (...) {
        work.errors[i] = std::current_exception();
        failAt(work, i);
    }
}

void countComponents(Work& work) {
    for (;;) {
        const std::size_t i = work.next++;
        // A component after a failing one is never needed.
        if (i >= work.components.size() || i > work.firstFailure.load())
            return;
        if (!work.windowed) {
            countComponent(work, i);
            continue;
        }
        {
            std::unique_lock<std::mutex> lock(work.mutex);
            work.changed.wait(lock, [&work, i] {
                return i < work.handed + work.window || i > work.firstFailure.load();
            });
            if (i > work.firstFailure.load())
                return;
            if (!work.spare.empty()) {
                work.components[i].goals = std::move(work.spare.back());
                work.spare.pop_back();
            }
        }
        countComponent(work, i);
        {
            std::lock_guard<std::mutex> lock(work.mutex);
            work.done[i] = 1;
        }
        work.changed.notify_all();
    }
}

// Hands the components to the sink in list order, each once it is counted;
// stops at the first failure.
void handOn(Work& work, collect_sink_t const& sink) {
    for (std::size_t at = 0; at < work.components.size(); ++at) {
        {
            std::unique_lock<std::mutex> lock(work.mutex);
            work.changed.wait(lock, [&work, at] { return work.done[at] != 0; });
        }
        if (work.firstFailure.load() <= at)
            return;
        component_t& c = work.components[at];
        sink.counted(at, c);
        c.goals.clear();
        {
            std::lock_guard<std::mutex> lock(work.mutex);
            work.spare.push_back(std::move(c.goals));
            c.goals = {};
            ++work.handed;
        }
        work.changed.notify_all();
    }
}

} // namespace

collection_t collect_metrics(std::string const& bdp, std::string const& project, bool goals,
                             collect_sink_t const& sink) {
    collection_t result;
    result.database = database_path(bdp, project);
    std::string error;
    bool unopened = false;
    for (std::string& name : component_names(bdp, project, &error, &unopened)) {
        result.components.emplace_back();
        result.components.back().path = po_file_path(bdp, name);
        result.components.back().name = std::move(name);
    }
    result.database_state = unopened                    ? database_state_t::missing
                            : !error.empty()            ? database_state_t::malformed
                            : result.components.empty() ? database_state_t::empty
                                                        : database_state_t::read;
    if (sink.listed)
        sink.listed(result);
    bool const windowed = static_cast<bool>(sink.counted);
    // Each file is counted whole by one worker, with its own Qt objects; the
    // records stay in list order, so the report does not depend on the pool.
    const std::size_t workers =
        std::min<std::size_t>({std::max(1u, std::thread::hardware_concurrency()), MAX_WORKERS,
                               std::max<std::size_t>(1, result.components.size())});
    // Four components ahead per worker: one large component does not keep
    // the others waiting for the sink.
    Work work(result.components, goals, windowed, 4 * workers);
    work.errors.resize(result.components.size());
    work.unknown.resize(result.components.size());
    work.done.resize(result.components.size());

    // With a sink this thread hands the components on while the pool counts.
    std::vector<std::thread> pool;
    for (std::size_t t = windowed ? 0 : 1; t < workers; ++t)
        pool.emplace_back(countComponents, std::ref(work));
    if (windowed)
        handOn(work, sink);
    else
        countComponents(work);
    for (std::thread& thread : pool)
        thread.join();

    const std::size_t failed = work.firstFailure.load();
    if (failed == NO_FAILURE)
        return result;
    if (work.errors[failed])
        std::rethrow_exception(work.errors[failed]);
    // As if counting had stopped there: the later components stay unread.
    result.unknown_status = work.unknown[failed];
    for (std::size_t i = failed + 1; i < result.components.size(); ++i) {
        result.components[i].metrics = pos::metrics_t{};
        result.components[i].read = pos::po_read_t::unopened;
        result.components[i].goals.clear();
    }
    return result;
}

void add_to_total(pos::metrics_t& total, pos::metrics_t const& metrics) {
    total.nb_po += metrics.nb_po;
    total.nb_unproved += metrics.nb_unproved;
    total.nb_proved += metrics.nb_proved;
    total.nb_unreliably_proved += metrics.nb_unreliably_proved;
    total.nb_disproved += metrics.nb_disproved;
    total.nb_ext += metrics.nb_ext;
    total.nb_int += metrics.nb_int;
    for (auto const& [mech_name, mech] : metrics.mechanisms) {
        auto& total_mech = total.mechanisms[mech_name];
        if (!total_mech)
            total_mech = std::make_unique<pos::mechanism_metrics_t>();
        total_mech->nb_unproved += mech->nb_unproved;
        total_mech->nb_unknown += mech->nb_unknown;
        total_mech->nb_proved += mech->nb_proved;
        total_mech->nb_unreliably_proved += mech->nb_unreliably_proved;
        total_mech->nb_disproved += mech->nb_disproved;
        for (auto const& [driver_name, driver] : mech->drivers) {
            auto& total_driver = total_mech->drivers[driver_name];
            if (!total_driver)
                total_driver = std::make_unique<pos::driver_metrics_t>();
            total_driver->nb_unproved += driver->nb_unproved;
            total_driver->nb_unknown += driver->nb_unknown;
            total_driver->nb_proved += driver->nb_proved;
            total_driver->nb_disproved += driver->nb_disproved;
        }
    }
}
