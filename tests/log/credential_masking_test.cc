#include "log/credential_masking.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::vector<std::string> Keys() {
  std::vector<std::string> keys;
  dunmar::InitMaskedKeys(keys);
  return keys;
}

std::string Mask(std::string_view text) {
  std::string out(text);
  dunmar::MaskCredentials(Keys(), text, out);
  return out;
}

TEST(InitMaskedKeys, GivesNineKeysInOrder) {
  EXPECT_EQ(Keys(), (std::vector<std::string>{"proxyusername", "proxy-user", "proxyuser", "user",
                                              "username", "proxy-password", "proxypassword",
                                              "password", "proxypass"}));
}

TEST(InitMaskedKeys, AppendsToWhatIsThere) {
  std::vector<std::string> keys = {"pin"};
  dunmar::InitMaskedKeys(keys);
  ASSERT_EQ(keys.size(), 10U);
  EXPECT_EQ(keys[0], "pin");
  EXPECT_EQ(keys[1], "proxyusername");
}

TEST(MaskCredentials, MasksTheContentOfElements) {
  EXPECT_EQ(Mask("login <User>bob</User> <Password>x</Password>"),
            "login <User>****</User> <Password>****</Password>");
}

TEST(MaskCredentials, MasksEachOfTheNineKeys) {
  const struct {
    const char* text;
    const char* masked;
  } rows[] = {
      {"<proxyusername>a</proxyusername>", "<proxyusername>****</proxyusername>"},
      {"<proxy-user>a</proxy-user>", "<proxy-user>****</proxy-user>"},
      {"<proxyuser>a</proxyuser>", "<proxyuser>****</proxyuser>"},
      {"<user>a</user>", "<user>****</user>"},
      {"<username>a</username>", "<username>****</username>"},
      {"<proxy-password>a</proxy-password>", "<proxy-password>****</proxy-password>"},
      {"<proxypassword>a</proxypassword>", "<proxypassword>****</proxypassword>"},
      {"<password>a</password>", "<password>****</password>"},
      {"<proxypass>a</proxypass>", "<proxypass>****</proxypass>"},
  };
  for (const auto& row : rows) EXPECT_EQ(Mask(row.text), row.masked);
}

TEST(MaskCredentials, LeavesAnEmptyElementAlone) {
  EXPECT_EQ(Mask("<password></password>"), "<password></password>");
}

TEST(MaskCredentials, GoesOnWithTheNextKeyAfterAnEmptyElement) {
  EXPECT_EQ(Mask("<user></user><password>x</password>"), "<user></user><password>****</password>");
}

TEST(MaskCredentials, MasksOnlyTheFirstElementOfAKey) {
  EXPECT_EQ(Mask("<password>a</password><password>b</password>"),
            "<password>****</password><password>b</password>");
}

TEST(MaskCredentials, DoesNotLookForAKeyInsideALongerTag) {
  EXPECT_EQ(Mask("<proxyuser>u</proxyuser>"), "<proxyuser>****</proxyuser>");
  EXPECT_EQ(Mask("<superuser>u</superuser>"), "<superuser>u</superuser>");
  EXPECT_EQ(Mask("<userid>u</userid>"), "<userid>u</userid>");
}

TEST(MaskCredentials, RepeatsTheTextBetweenAClosingTagAndALaterOpeningTag) {
  EXPECT_EQ(Mask("</user>x<user>y"), "</user>x<user>****</user>x<user>y");
}

TEST(MaskCredentials, TakesTheFirstClosingTagOfTheText) {
  EXPECT_EQ(Mask("</user><user>bob</user>"), "</user><user>****</user><user>bob</user>");
}

TEST(MaskCredentials, NeedsBothTags) {
  EXPECT_EQ(Mask("<password>secret"), "<password>secret");
  EXPECT_EQ(Mask("secret</password>"), "secret</password>");
}

TEST(MaskCredentials, NeedsTagsWithoutAttributesAndBlanks) {
  EXPECT_EQ(Mask("<password type=x>a</password>"), "<password type=x>a</password>");
  EXPECT_EQ(Mask("<password >a</password>"), "<password >a</password>");
  EXPECT_EQ(Mask("< password>a</password>"), "< password>a</password>");
  EXPECT_EQ(Mask("<password>a</password >"), "<password>a</password >");
}

TEST(MaskCredentials, TakesTagsInAnyCaseAndKeepsIt) {
  EXPECT_EQ(Mask("LOGIN <PassWord>AbC</PASSWORD> End"), "LOGIN <PassWord>****</PASSWORD> End");
}

TEST(MaskCredentials, PassesOnOtherTextByteForByte) {
  EXPECT_EQ(Mask(""), "");
  EXPECT_EQ(Mask("user: bob, password: x"), "user: bob, password: x");
  EXPECT_EQ(Mask("<Other>A&B</Other>\r\n\t<<>>"), "<Other>A&B</Other>\r\n\t<<>>");
}

TEST(MaskCredentials, KeepsBytesThatAreNoText) {
  const std::string_view before("\xC3\x84\xFF\x80\0\n", 6);
  EXPECT_EQ(Mask(std::string(before) + "<user>\xFE\xC3</user>\xDF\xFF"),
            std::string(before) + "<user>****</user>\xDF\xFF");
}

TEST(MaskCredentials, MasksNestedElementsByTheOrderOfTheKeys) {
  EXPECT_EQ(Mask("<user>a<password>b</password>c</user>"), "<user>****</user>");
  EXPECT_EQ(Mask("<password>a<user>b</user>c</password>"), "<password>****</password>");
}

TEST(MaskCredentials, MasksTheKeysThatItIsGiven) {
  std::string out = "<pin>1</pin><user>bob</user>";
  dunmar::MaskCredentials({"pin"}, "<pin>1</pin><user>bob</user>", out);
  EXPECT_EQ(out, "<pin>****</pin><user>bob</user>");
}

TEST(MaskCredentials, MasksAContentOfFourKibibytes) {
  EXPECT_EQ(Mask("<password>" + std::string(4096, 'p') + "</password>."),
            "<password>****</password>.");
}

// Each key repeats all that follows its closing tag.
TEST(MaskCredentials, RepeatsMoreWithEveryKey) {
  EXPECT_EQ(Mask("</password></user>x<user><password>"),
            "</password></user>x<user>****</user>x<user><password>****</password></user>x<user>****"
            "</user>x<user><password>");
}

TEST(MaskCredentials, SurvivesAFourKibibyteTextThatDoublesWithEveryKey) {
  const std::string closing =
      "</password></proxypass></proxypassword></proxy-password></username></user></proxyuser>"
      "</proxy-user></proxyusername>";
  const std::string opening =
      "<proxyusername><proxy-user><proxyuser><user><username><proxy-password><proxypassword>"
      "<password><proxypass>";
  const std::string filler(4096 - closing.size() - opening.size(), 'x');
  const std::string masked = Mask(closing + filler + opening);
  EXPECT_EQ(masked.size(), 2013683U);
  EXPECT_TRUE(masked.starts_with(closing + filler + "<proxyusername>****</proxyusername>x"));
  EXPECT_TRUE(masked.ends_with("x" + opening));
}

}  // namespace
