// The JUnit XML report (--junit), for the test views of CI servers: one
// testsuite per component, one testcase per goal; a proved goal passes, any
// other fails with its status as the failure's type, and a PO file that is
// missing or not well-formed is an error of its component.
#ifndef REPORT_JUNIT_H
#define REPORT_JUNIT_H

#include "prooftally/model.h"

#include <ostream>
#include <string>

// Written as the run is collected: the head (and the project database's
// suite when it cannot be read), each component with its goals and its
// findings [first, last), then the components that only the baseline lists.
void write_junit_head(std::ostream& out, std::string const& project, collection_t const& collected);
void write_junit_component(std::ostream& out, component_t const& component, std::size_t at,
                           finding_t const* first, finding_t const* last);
void write_junit_tail(std::ostream& out, report_t const& report);

#endif
