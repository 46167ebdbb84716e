// The argument table: one declaration gives the descriptive list, the container and the
// factory defaults, each flag in its place.
#include "imaging/ProcessorBase.h"
#include "model/FpImage.h"
#include "parameters/ParameterContainer.h"
#include "parameters/ParameterInterface.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

const char kChoices[] = "Low\0High\0";
const int32_t kValues[] = {4, 9};

class ClIpTable : public ClProcessorBase
{
public:
  ClProcessorBase* Clone() const override { return CloneNew<ClIpTable>(); }
  const char* GetName() const override { return "ClIpTable"; }
  int32_t Process() override { return 0; }
  void DescribeArguments(ClProcessorArguments& a) override
  {
    using A = ClProcessorArguments;
    a.Image(&m_pIn, "In", "pIn", "In: image", 1, 1, 1, 0);
    a.Image(&m_pOut, "Out", "pOut", "Out: image", 1, 1, 2, A::eOut | A::eNoDefault);
    a.Double(&m_dGain, "Gain", "dGain", "In: gain", 1.5, 0, 10, A::eBindRange);
    a.Int32(&m_nWidth, "Width", "nWidth", "In: width", 7, -5, 5);
    a.Int32(&m_nHidden, nullptr, "nHidden", nullptr, 3, 0, 0);
    a.Int32(&m_nKept, "Kept", nullptr, "In: kept", 11, 0, 20, A::eNoDefault);
    a.Choice(&m_nLevel, "Level", "nLevel", "In: level", 9, kChoices, kValues,
             A::eValueless | A::eListDefault, 4);
  }

  ClImage image;
  ClImage* m_pIn = &image;
  ClImage* m_pOut = &image;
  double m_dGain = 0;
  int32_t m_nWidth = 0, m_nHidden = 0, m_nKept = 2, m_nLevel = 0;
};

} // namespace

TEST(ProcessorArguments, ListContainerAndDefaultsComeFromOneTable)
{
  ClIpTable ip;
  ip.SetDefaultParameters();
  EXPECT_EQ(nullptr, ip.m_pIn);
  EXPECT_EQ(&ip.image, ip.m_pOut) << "eNoDefault";
  EXPECT_EQ(1.5, ip.m_dGain);
  EXPECT_EQ(7, ip.m_nWidth);
  EXPECT_EQ(3, ip.m_nHidden);
  EXPECT_EQ(2, ip.m_nKept) << "eNoDefault";
  EXPECT_EQ(9, ip.m_nLevel);

  ClParameterInterface itf;
  ip.DeclareInterface(itf);
  ASSERT_EQ(6u, itf.GetCount()) << "the bind-only argument is not listed";
  EXPECT_EQ(uint32_t(ClParameterInterface::eOut), itf.Find("Out")->m_nDirection);
  EXPECT_EQ(-5, itf.Find("Width")->m_dMin);
  EXPECT_EQ(7, itf.Find("Width")->m_dDefault);
  const ClParameterInterface::ClParameter* pLevel = itf.Find("Level");
  EXPECT_EQ(2u, pLevel->ChoiceCount());
  EXPECT_EQ(nullptr, pLevel->m_pChoiceValues) << "eValueless";
  EXPECT_EQ(4, pLevel->m_dDefault) << "eListDefault";

  ClParameterContainer container;
  ip.BindParameters(container);
  EXPECT_EQ(6u, container.GetChildCount()) << "the list-only argument is not bound";
  EXPECT_EQ(nullptr, container.FindChild("Kept"));
  EXPECT_TRUE(container.FindChild("dGain")->AsNumeric()->HasRange());
  EXPECT_FALSE(container.FindChild("nWidth")->AsNumeric()->HasRange()) << "no eBindRange";
  EXPECT_EQ(2, container.FindChild("pOut")->GetFlags());
  ClParameterEnumInterface* pEnum = container.FindChild("nLevel")->AsEnum();
  ASSERT_EQ(2, pEnum->GetCount());
  container.FindChild("nLevel")->SetFromString("Low");
  EXPECT_EQ(4, ip.m_nLevel) << "the container's choices carry the values";
}
