#include "prooftally/collect.h"
#include "prooftally/report_dashboard.h"
#include "prooftally/reports.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

// `text` centred as the text report centres its group names.
std::string centered(std::uint32_t width, std::string const& text, char fill) {
    std::ostringstream out;
    cout_centered(out, width, text, fill);
    return out.str();
}

// The two components of the documented example. Beta_Controller shows Ext 0
// beside two proved MechB results, which no PO file can give.
component_list_t exampleComponents() {
    component_list_t list(2);
    list[0].name = "Alpha";
    list[1].name = "Beta_Controller";
    pos::metrics_t* alpha = &(list[0].metrics = pos::metrics_t{12, 2, 10, 0, 0, 1, 7, {}});
    auto& mechA = alpha->mechanisms["MechA"] = std::make_unique<pos::mechanism_metrics_t>();
    mechA->nb_proved = 3;
    mechA->nb_unknown = 1;
    mechA->drivers["D1"] =
        std::make_unique<pos::driver_metrics_t>(pos::driver_metrics_t{0, 1, 3, 0});
    pos::metrics_t* beta = &(list[1].metrics = pos::metrics_t{105, 4, 100, 1, 0, 0, 96, {}});
    beta->mechanisms["MechB"] = std::make_unique<pos::mechanism_metrics_t>();
    *beta->mechanisms["MechB"] = {2, 0, 2, 1, 0, {}};
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
        add_to_total(total, entry.metrics);
    std::ostringstream text, csv, html;
    cout_pretty_print(text, list, total);
    EXPECT_EQ(text.str(), fileText("example/report.txt"));
    cout_csv_header(csv, total);
    for (component_t const& c : list)
        cout_csv_metrics(csv, c.name, c.metrics, total);
    cout_csv_metrics(csv, "TOTAL", total, total);
    EXPECT_EQ(csv.str(), fileText("example/report.csv"));
    cout_html_head(html, total);
    for (component_t const& c : list)
        cout_html_metrics(html, c.name, c.metrics, total);
    cout_html_metrics(html, "Total", total, total);
    cout_html_tail(html);
    EXPECT_EQ(html.str(), fileText("example/report.html"));
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
        EXPECT_EQ(centered(c.width, c.text, ' '), c.expected) << c.width << " '" << c.text << "'";
    EXPECT_EQ(centered(7, "ab", '.'), "..ab...");
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
