#include <gtest/gtest.h>

#include "alerts/SystemAlert.h"

namespace {

TEST(SystemAlert, DefaultRecordIsAFreeClearedSlot) {
  const SystemAlert alert;
  for (const std::string* text : {&alert.m_name, &alert.m_description, &alert.m_sourceComponent,
                                   &alert.m_additionalInfo1, &alert.m_additionalInfo2,
                                   &alert.m_category, &alert.m_time}) {
    EXPECT_TRUE(text->empty());
  }
  for (int32_t value : {alert.m_severity, alert.m_type, alert.m_probableCause,
                        alert.m_uiNotification, alert.m_confirmationReceived}) {
    EXPECT_EQ(0, value);
  }
}

TEST(SystemAlert, CopiesAreDeep) {
  SystemAlert first;
  first.m_name = "CertificateExpired";
  first.m_time = "2026-11-23T09:00:00";
  first.m_severity = 3;
  SystemAlert second(first);
  second.m_name += "-temp";
  second.m_time.clear();
  EXPECT_EQ("CertificateExpired", first.m_name);
  EXPECT_EQ("2026-11-23T09:00:00", first.GetTimeStr());
  SystemAlert third;
  third = second;
  EXPECT_EQ("CertificateExpired-temp", third.m_name);
  EXPECT_EQ(3, third.m_severity);
}

}  // namespace
