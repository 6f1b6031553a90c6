#include "prooftally/collect.h"
#include "prooftally/report_dashboard.h"
#include "prooftally/reports.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

namespace {

// Everything written to std::cout while `write` runs; the stream's fill
// character, which the writers set, is restored.
std::string captured(std::function<void()> const& write) {
    std::ostringstream out;
    std::streambuf* const saved = std::cout.rdbuf(out.rdbuf());
    char const fill = std::cout.fill();
    write();
    std::cout.fill(fill);
    std::cout.rdbuf(saved);
    return out.str();
}

// The two components of the documented example. Beta_Controller shows Ext 0
// beside two proved MechB results, which no PO file can give.
component_list_t exampleComponents() {
    component_list_t list;
    auto alpha = std::make_unique<pos::metrics_t>(pos::metrics_t{12, 2, 10, 0, 0, 1, 7, {}});
    auto& mechA = alpha->mechanisms["MechA"] = std::make_unique<pos::mechanism_metrics_t>();
    mechA->nb_proved = 3;
    mechA->nb_unknown = 1;
    mechA->drivers["D1"] =
        std::make_unique<pos::driver_metrics_t>(pos::driver_metrics_t{0, 1, 3, 0});
    auto beta = std::make_unique<pos::metrics_t>(pos::metrics_t{105, 4, 100, 1, 0, 0, 96, {}});
    beta->mechanisms["MechB"] = std::make_unique<pos::mechanism_metrics_t>();
    *beta->mechanisms["MechB"] = {2, 0, 2, 1, 0, {}};
    list.emplace_back("Alpha", std::move(alpha));
    list.emplace_back("Beta_Controller", std::move(beta));
    return list;
}

} // namespace

std::string fileText(std::string const& name) {
    std::ifstream in(TEST_DATA_DIR "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The three reports of the documented example, byte for byte as documented.
TEST(Reports, TextCsvAndHtmlOfTheDocumentedExample) {
    auto const list = exampleComponents();
    pos::metrics_t total;
    for (auto const& entry : list)
        add_to_total(total, *entry.second);
    EXPECT_EQ(captured([&] { cout_pretty_print(list, total); }), fileText("example/report.txt"));
    EXPECT_EQ(captured([&] {
                  cout_csv_header(total);
                  for (auto const& [name, metrics] : list)
                      cout_csv_metrics(name, *metrics, total);
                  cout_csv_metrics("TOTAL", total, total);
              }),
              fileText("example/report.csv"));
    EXPECT_EQ(captured([&] {
                  cout_html_head(total);
                  for (auto const& [name, metrics] : list)
                      cout_html_metrics(name, *metrics, total);
                  cout_html_metrics("Total", total, total);
                  cout_html_tail();
              }),
              fileText("example/report.html"));
}

TEST(Reports, CenteredText) {
    const struct {
        std::uint32_t width;
        const char* text;
        const char* expected;
    } cases[] = {
        {10, "abc", "     abc  "}, // odd length leans right
        {10, "ab", "    ab    "},
        {4, "abcd", "abcd "},    // exactly W, W even: one space after
        {5, "abcde", " abcde "}, // exactly W, W odd: one on each side
        {4, "abc", "  abc "},    // W - 1, W even: wider than W
        {3, "abcdef", "abc"},    // cut, nothing added
        {0, "", " "},
    };
    for (auto const& c : cases)
        EXPECT_EQ(captured([&] { cout_centered(c.width, c.text, ' '); }), c.expected)
            << c.width << " '" << c.text << "'";
    EXPECT_EQ(captured([] { cout_centered(7, "ab", '.'); }), "..ab...");
}

// Names reach the dashboard as text whatever bytes they hold.
TEST(Reports, DashboardText) {
    const struct {
        const char* bytes;
        const char* html;
    } cases[] = {
        {"<script>alert(1)</script>", "&lt;script&gt;alert(1)&lt;/script&gt;"},
        {"say \"hi\" & 'bye'", "say &quot;hi&quot; &amp; &#39;bye&#39;"},
        {"Zérø 𝔸", "Zérø 𝔸"},
        {"tab\tsoh\x01 del\x7f", "tab\u2409soh\u2401 del\u2421"}, // control pictures
        {"bad\xff utf8\xc3", "bad\ufffd utf8\ufffd"},
        {"c1\xc2\x85 nonchar\xef\xb7\x90\xef\xbf\xbe", "c1\ufffd nonchar\ufffd\ufffd"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(html_text(c.bytes), c.html) << c.bytes;
}
