#include "tools/CaptureRecord.h"

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <sstream>

namespace {

namespace pt = boost::property_tree;

// Shaped as the scanner writes it after a roll: every leaf a text, arrays without keys.
const char* const szRollDocument = R"({
    "KX2": {
        "ROLLFINGER": {
            "BACKROLL": "1",
            "ROLL_SHIFT_AREAS": [
                { "POINTS": [ { "X": "10", "Y": "20" }, { "X": "30", "Y": "20" },
                              { "X": "30", "Y": "60" } ], "LEVEL": "2" },
                { "POINTS": "", "LEVEL": "1" }
            ]
        }
    }
})";

pt::ptree ParseBack(const std::string& text)
{
  pt::ptree tree;
  std::istringstream in(text);
  pt::read_json(in, tree);
  return tree;
}

TEST(Lskx2Record, ScannerDocumentGivesItsShiftOutlines)
{
  ClJson doc;
  ASSERT_TRUE(ClJson::FromScannerText(szRollDocument, &doc));
  std::vector<ClShiftPolygon> polys = ShiftPolygons(doc);
  ASSERT_EQ(polys.size(), 1u); // an area without points draws nothing
  EXPECT_EQ(polys[0].m_nLevel, 2);
  EXPECT_EQ(polys[0].m_aPoints, (std::vector<std::pair<int, int>>{{10, 20}, {30, 20}, {30, 60}}));

  ClJson plain;
  ASSERT_TRUE(ClJson::FromScannerText("{\n    \"KX2\": \"\"\n}\n", &plain));
  EXPECT_TRUE(ShiftPolygons(plain).empty());
  EXPECT_FALSE(ClJson::FromScannerText("KX2 {", &plain));
}

TEST(Lskx2Record, JsonFileParsesWithNumbersAndTheScannerDocument)
{
  ClCaptureRecord r;
  r.m_sName = "roll_1";
  r.m_sMode = "roll";
  r.m_sImageFile = "roll_1.png";
  r.m_nResult = -803;
  r.m_sResultText = "Finger \"rolled\" back\\wards\n";
  r.m_dScore = 0.25;
  r.m_bFinger = true;
  ASSERT_TRUE(ClJson::FromScannerText(szRollDocument, &r.m_ScannerData));
  std::string text = r.ToJson().Dump();
  pt::ptree tree = ParseBack(text);
  EXPECT_EQ(tree.get<int>("result_code"), -803);
  EXPECT_EQ(tree.get<std::string>("result_text"), r.m_sResultText);
  EXPECT_EQ(tree.get<std::string>("finger"), "true");
  EXPECT_DOUBLE_EQ(tree.get<double>("score"), 0.25);
  EXPECT_EQ(tree.get<std::string>("scanner_data.KX2.ROLLFINGER.BACKROLL"), "1");
  EXPECT_NE(text.find("\"result_code\": -803"), std::string::npos); // a number, not a text
  EXPECT_NE(text.find("\"image\": \"roll_1.png\""), std::string::npos);

  ClCaptureRecord failed;
  failed.m_dScore = 0.0 / 0.0; // no finite score still gives valid JSON
  pt::ptree back = ParseBack(failed.ToJson().Dump());
  EXPECT_EQ(back.get<std::string>("image"), "null");
  EXPECT_EQ(back.get<std::string>("score"), "null");
}

TEST(Lskx2Record, ControlCharactersAreEscaped)
{
  EXPECT_EQ(JsonQuote(std::string("a\x01\tb", 4)), "\"a\\u0001\\tb\"");
}

} // namespace
