// The JUnit XML report (--junit), for the test views of CI servers: one
// testsuite per component, one testcase per goal; a proved goal passes, any
// other fails with its status as the failure's type, and a PO file that is
// missing or not well-formed is an error of its component.
#ifndef REPORT_JUNIT_H
#define REPORT_JUNIT_H

#include "prooftally/model.h"

#include <ostream>

void write_junit(std::ostream& out, report_t const& report);

#endif
