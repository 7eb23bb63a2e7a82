// KVTString: shared representations and text built from UTF-8.

#include <gtest/gtest.h>

#include "KVTString.h"

TEST(StringTest, CopiesShareOneRepresentationUntilTheLastGoes) {
  KVTString a("pool");
  {
    KVTString b = a;
    KVTString c;
    c = b;
    EXPECT_EQ(c.CStr(), a.CStr());  // shared, not copied
    c = c;                          // self-assignment keeps the text
    EXPECT_STREQ(c.CStr(), "pool");
    b = "other";  // assignment from text detaches b only
    EXPECT_STREQ(a.CStr(), "pool");
    EXPECT_STREQ(b.CStr(), "other");
  }
  EXPECT_STREQ(a.CStr(), "pool");
  EXPECT_EQ(a.GetLengthInByte(), 4u);

  KVTString empty;
  EXPECT_STREQ(empty.CStr(), "");
  EXPECT_EQ(empty.GetLengthInByte(), 0u);
  EXPECT_TRUE(KVTString(nullptr).IsEmpty());
}

TEST(StringTest, BuildFromUtf8ReportsMalformedTextButKeepsIt) {
  atr_String::Result result = atr_String::ResultInvalidUTF8;
  KVTString ok = KVTString::BuildFromUTF8("gr\xC3\xBC\xC3\x9F", &result);
  EXPECT_EQ(result, atr_String::ResultOk);
  EXPECT_FALSE(ok.IsAscii());
  EXPECT_EQ(ok.GetLengthInByte(), 6u);

  KVTString bad = KVTString::BuildFromUTF8("a\xC0\xAF", &result);
  EXPECT_EQ(result, atr_String::ResultInvalidUTF8);
  EXPECT_EQ(bad.GetLengthInByte(), 3u);
  EXPECT_TRUE(KVTString("plain").IsAscii());
}
