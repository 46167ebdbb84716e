// Run's order of calls, its logging and timing, and the capture of factory defaults.
#include "imaging/ProcessorBase.h"
#include "parameters/ParameterContainer.h"
#include "tests/common/RecordingLog.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

class ClIpProbe : public ClProcessorBase
{
public:
  ClIpProbe() { SetDefaultParameters(); }
  ClProcessorBase* Clone() const override { return CloneNew<ClIpProbe>(); }
  const char* GetName() const override { return "ClIpProbe"; }
  void SetDefaultParameters() override { m_dThreshold = 3; }
  void BindParameters(ClParameterContainer& c) override
  {
    c.CreateNumeric<double>("Threshold")->Bind(&m_dThreshold, 3);
  }
  void GetInfoString(char* pBuffer, size_t nSize) const override
  {
    FormatInfo(pBuffer, nSize, "Thr%.*f", 1, m_dThreshold);
  }
  int32_t Initialize() override { return Note("I", m_nInit); }
  int32_t Process() override { return Note("P", m_nProcess); }
  int32_t Finalize(int32_t nStatus) override
  {
    m_nSeenStatus = nStatus;
    return Note("F", m_nFinal);
  }
  int32_t Note(const char* sz, int32_t n)
  {
    m_sCalls += sz;
    return n;
  }

  double m_dThreshold = 0;
  int32_t m_nInit = 0, m_nProcess = 0, m_nFinal = 0, m_nSeenStatus = 1;
  std::string m_sCalls;
};

} // namespace

TEST(ProcessorBase, RunCallsInitializeProcessFinalizeAndStopsEarlyOnInitialize)
{
  ClIpProbe ip;
  ip.m_nProcess = -15;
  EXPECT_EQ(-15, ip.Run());
  EXPECT_EQ("IPF", ip.m_sCalls);
  EXPECT_EQ(-15, ip.m_nSeenStatus);

  ip.m_sCalls.clear();
  ip.m_nInit = -37;
  EXPECT_EQ(-37, ip.Run());
  EXPECT_EQ("I", ip.m_sCalls);
}

TEST(ProcessorBase, FinalizeFailureThrowsWithItsValueEvenAfterAProcessError)
{
  ClIpProbe ip;
  ip.m_nProcess = -10;
  ip.m_nFinal = -44;
  EXPECT_CL_THROW(ip.Run(), -44, nullptr);
  EXPECT_EQ("IPF", ip.m_sCalls);
}

TEST(ProcessorBase, LoggingAndTimingAreIdleUntilInstalled)
{
  ClRecordingLog log;
  ClProcessorTiming timing;
  {
    ClIpProbe quiet;
    quiet.SetLogging(true);
    EXPECT_EQ(nullptr, quiet.GetLog());
  }
  ClProcessorBase::SetDefaultLog(&log);
  ClProcessorBase::SetTiming(&timing);
  ClIpProbe ip;
  EXPECT_EQ(0, ip.Run());
  EXPECT_EQ(0, ip.Run());
  ip.SetLogging(false);
  EXPECT_EQ(0, ip.Run());
  ClProcessorBase::SetDefaultLog(nullptr);
  ClProcessorBase::SetTiming(nullptr);

  EXPECT_EQ((std::vector<std::string>{"begin ClIpProbe", "ClIpProbe Thr3.0", "begin ClIpProbe",
                                      "ClIpProbe Thr3.0"}),
            log.lines);
  ASSERT_EQ(1u, timing.Size());
  ASSERT_NE(nullptr, timing.Find(typeid(ClIpProbe)));
  EXPECT_EQ(3u, timing.Find(typeid(ClIpProbe))->nRuns);
  EXPECT_GE(timing[0].dSeconds, 0.0);
}

TEST(ProcessorBase, CaptureDefaultsKeepsMembersAndStoresFactoryDefaults)
{
  ClIpProbe ip;
  ip.m_dThreshold = 7;
  ClParameterContainer c;
  ip.CaptureDefaults(c);
  EXPECT_EQ(7.0, ip.m_dThreshold);
  ClParameter* p = c.Find("threshold");
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(3.0, p->AsNumeric()->GetDefault());
  EXPECT_FALSE(c.IsDefault());
  c.ResetToDefault();
  EXPECT_EQ(3.0, ip.m_dThreshold);
  EXPECT_TRUE(c.IsDefault());

  ClProcessorBase* pClone = ip.Clone();
  EXPECT_STREQ("ClIpProbe", pClone->GetName());
  delete pClone;
}
