// Pictures inside a file: the text form's base 64.
#include "standalone/fbx/embedded_media.h"

#include <gtest/gtest.h>

namespace {

using mirel::fbx::decode_base64;

TEST(DecodeBase64, LengthsAndPadding) {
  EXPECT_EQ(decode_base64(""), "");
  EXPECT_EQ(decode_base64("QQ=="), "A");
  EXPECT_EQ(decode_base64("QUI="), "AB");
  EXPECT_EQ(decode_base64("QUJD"), "ABC");
  EXPECT_EQ(decode_base64("QUJDRA=="), "ABCD");
}

TEST(DecodeBase64, EveryCharacter) {
  std::string const bytes = decode_base64("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
  ASSERT_EQ(bytes.size(), 48U);
  EXPECT_EQ(static_cast<unsigned char>(bytes[0]), 0x00);
  EXPECT_EQ(static_cast<unsigned char>(bytes[1]), 0x10);
  EXPECT_EQ(static_cast<unsigned char>(bytes[2]), 0x83);
  EXPECT_EQ(static_cast<unsigned char>(bytes[46]), 0xDF);
  EXPECT_EQ(static_cast<unsigned char>(bytes[47]), 0xBF);
}

TEST(DecodeBase64, WhatIsNoBase64IsPassedOver) {
  EXPECT_EQ(decode_base64("QU\nJD RA=="), "ABCD");
  EXPECT_EQ(decode_base64("QUJD=QUJD"), "ABC");
  EXPECT_EQ(decode_base64("Q"), "");
  EXPECT_EQ(decode_base64("\xFF\x00"), "");
}

}  // namespace
