// The count of a PO file by a walk of its DOM document, the reference for the
// streaming count of pos::getMetrics: same result, same failures.
#ifndef TESTS_DOM_REFERENCE_H
#define TESTS_DOM_REFERENCE_H

#include "pos/pos.h"

#include <string>

bool domMetrics(std::string const& path, pos::metrics_t& metrics);

#endif
