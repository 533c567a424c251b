#include <gtest/gtest.h>

#include <climits>

#include "platform/vmTime.h"

namespace {

// The same expectations hold on 64-bit hosts and on the 32-bit phone, whose
// time_t cannot represent 2050.
TEST(Time, DatesPast2038ClampInsteadOfWrapping) {
  int32_t epoch = 0;
  ASSERT_EQ(0, vm_asn1_time_to_epoch("20500101000000Z", &epoch));
  EXPECT_EQ(INT32_MAX, epoch);
  ASSERT_EQ(0, vm_asn1_time_to_epoch("491231235959Z", &epoch));  // two-digit year: 2049
  EXPECT_EQ(INT32_MAX, epoch);
  ASSERT_EQ(0, vm_asn1_time_to_epoch("19000101000000Z", &epoch));
  EXPECT_EQ(INT32_MIN, epoch);
}

TEST(Time, DatesInRangeAreExact) {
  int32_t epoch = 0;
  ASSERT_EQ(0, vm_asn1_time_to_epoch("20260101000000Z", &epoch));
  EXPECT_EQ(1767225600, epoch);
  ASSERT_EQ(0, vm_asn1_time_to_epoch("20380119031407Z", &epoch));
  EXPECT_EQ(INT32_MAX, epoch);  // the last representable second itself
  ASSERT_EQ(0, vm_asn1_time_to_epoch("20380119031408Z", &epoch));
  EXPECT_EQ(INT32_MAX, epoch);
  ASSERT_EQ(0, vm_asn1_time_to_epoch("700101000001Z", &epoch));
  EXPECT_EQ(1, epoch);
}

TEST(Time, BadTextIsRefused) {
  int32_t epoch = 7;
  EXPECT_EQ(-1, vm_asn1_time_to_epoch("2050-01-01", &epoch));
  EXPECT_EQ(-1, vm_asn1_time_to_epoch("20501301000000Z", &epoch));
  EXPECT_EQ(-1, vm_asn1_time_to_epoch(nullptr, &epoch));
  EXPECT_EQ(7, epoch);
  EXPECT_EQ(INT32_MAX, vm_clamp_seconds(INT64_C(1) << 40));
  EXPECT_EQ(INT32_MIN, vm_clamp_seconds(-(INT64_C(1) << 40)));
  EXPECT_EQ(-5, vm_clamp_seconds(-5));
}

}  // namespace
