#include "desktop/program/sentence.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

TEST(Sentence, EndsWhereNothingEndsIt) {
  const auto sentence = [](const char* words) { return desktop::sentence(QString::fromUtf8(words)).toStdString(); };
  EXPECT_EQ(sentence("/x: No such file or directory"), "/x: No such file or directory.");
  EXPECT_EQ(sentence("“Keys” was removed from “x”"), "“Keys” was removed from “x”.");
  EXPECT_EQ(sentence("It has no key (\"keyStore\")"), "It has no key (\"keyStore\").");
  for (const char* ended : {"", "Nothing needs you.", "Scanning…", "git said \"not here.\""}) {
    EXPECT_EQ(sentence(ended), ended);
  }
}

}  // namespace
}  // namespace ravant::test
