#pragma once

#include <string_view>

/// The parts of a page, compiled into the program so that no file can be missing.
namespace Reports::PageFiles {

extern const std::string_view kPage;          ///< reports/page/report.html
extern const std::string_view kStyle;         ///< reports/page/report.css
extern const std::string_view kScript;        ///< reports/page/*.js, in the order of reports/CMakeLists.txt.
extern const std::string_view kChart;         ///< Chart.js, minified.
extern const std::string_view kChartLicence;  ///< Copyright and licence of Chart.js.

}  // namespace Reports::PageFiles
