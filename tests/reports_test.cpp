#include "prooftally/collect.h"
#include "prooftally/reports.h"

#include <gtest/gtest.h>

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

TEST(Reports, TextCsvAndHtmlOfTheDocumentedExample) {
    auto const list = exampleComponents();
    pos::metrics_t total;
    for (auto const& entry : list)
        add_to_total(total, *entry.second);
    // clang-format off
    EXPECT_EQ(captured([&] { cout_pretty_print(list, total); }),
        "|                 |                                         |                        MechA                      |             MechB          |\n"
        "|                 |                                         |            Summary         |          D1          |            Summary         |\n"
        "|       Component |  Po |  Pr | Unr | Dis | Unp | Ext | Int | Pr | Unr | Dis | Unk | Unp | Pr | Dis | Unk | Unp | Pr | Unr | Dis | Unk | Unp |\n"
        "|           Alpha |  12 |  10 |   0 |   0 |   2 |   1 |   7 |  3 |   0 |   0 |   1 |   0 |  3 |   0 |   1 |   0 |    |     |     |     |     |\n"
        "| Beta_Controller | 105 | 100 |   1 |   0 |   4 |   0 |  96 |    |     |     |     |     |    |     |     |     |  2 |   1 |   0 |   0 |   2 |\n"
        "|           TOTAL | 117 | 110 |   1 |   0 |   6 |   1 | 103 |  3 |   0 |   0 |   1 |   0 |  3 |   0 |   1 |   0 |  2 |   1 |   0 |   0 |   2 |\n");
    // clang-format on
    EXPECT_EQ(
        captured([&] {
            cout_csv_header(total);
            for (auto const& [name, metrics] : list)
                cout_csv_metrics(name, *metrics, total);
            cout_csv_metrics("TOTAL", total, total);
        }),
        "#component,Po,Pr,Unr,Dis,Unp,Ext,Int,MechA.Pr,MechA.Unr,MechA.Dis,MechA.Unk,MechA.Unp,"
        "D1.Pr,D1.Dis,D1.Unk,D1.Unp,MechB.Pr,MechB.Unr,MechB.Dis,MechB.Unk,MechB.Unp,\n"
        "Alpha,12,10,0,0,2,1,7,3,0,0,1,0,3,0,1,0,,,,,,\n"
        "Beta_Controller,105,100,1,0,4,0,96,,,,,,,,,,2,1,0,0,2,\n"
        "TOTAL,117,110,1,0,6,1,103,3,0,0,1,0,3,0,1,0,2,1,0,0,2,\n");

    std::string labels;
    for (char const* label :
         {"Po",  "Pr", "Unr", "Dis", "Unp", "Ext", "Int", "Pr",  "Unr", "Dis", "Unk",
          "Unp", "Pr", "Dis", "Unk", "Unp", "Pr",  "Unr", "Dis", "Unk", "Unp"})
        labels += std::string("      <th>") + label + "</th>\n";
    EXPECT_EQ(captured([&] { cout_html_head(total); }),
              "<html>\n<table width=\"100%\" border=\"1\">\n  <thead>\n    <tr>\n"
              "      <th rowspan=\"3\">Component</th>\n"
              "      <th rowspan=\"2\" colspan=\"7\">General</th>\n"
              "    <th colspan=\"9\">MechA</th>\n"
              "    <th colspan=\"5\">MechB</th>\n"
              "    </tr>\n    <tr>\n"
              "      <th colspan=\"5\">Summary</th>\n"
              "      <th colspan=\"4\">D1</th>\n"
              "      <th colspan=\"5\">Summary</th>\n"
              "    </tr>\n    <tr>\n" +
                  labels + "    </tr>\n  </thead>\n  <tbody>\n");

    std::string row = "    <tr>\n    <th align=\"right\">\nBeta_Controller</th>\n";
    for (char const* n : {"105", "100", "1", "0", "4", "0", "96"})
        row += std::string("    <td align=\"right\">\n") + n + "</td>\n";
    for (int blank = 0; blank < 9; ++blank)
        row += "    <td></td>\n";
    for (char const* n : {"2", "1", "0", "0", "2"})
        row += std::string("    <td align=\"right\">") + n + "</td>\n";
    row += "    </tr>\n";
    EXPECT_EQ(captured([&] { cout_html_metrics("Beta_Controller", *list.back().second, total); }),
              row);
    EXPECT_EQ(captured(cout_html_tail), "  </tbody>\n</table>\n</html>\n");
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
