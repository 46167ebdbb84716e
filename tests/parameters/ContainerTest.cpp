// The parameter tree: path resolution, the leaf walk, full paths, duplicates and the
// value operations on whole subtrees.
#include "parameters/ParameterContainer.h"
#include "tests/common/TestFailure.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// Unnamed root as the handle builds it:
//   Version, Roll{nA, nB}, Empty{}, Mask{Inner{nC}}
struct Tree
{
  explicit Tree(const char* szRootName = nullptr) : root(szRootName)
  {
    root.CreateString("Version")->Bind(&pVersion, 2);
    ClParameterContainer* pRoll = root.CreateContainer("Roll");
    pRoll->CreateNumeric<int>("nA")->Bind(&nA, 3);
    pRoll->CreateNumeric<double>("nB")->Bind(&dB, 3);
    root.CreateContainer("Empty");
    root.CreateContainer("Mask")->CreateContainer("Inner")->CreateNumeric<int>("nC")->Bind(&nC, 3);
  }

  std::vector<std::string> Walk()
  {
    std::vector<std::string> names;
    for (ClParameter* p = root.GetNextLeaf(nullptr); p; p = root.GetNextLeaf(p)) {
      EXPECT_FALSE(p->IsContainer());
      names.push_back(p->GetName());
    }
    return names;
  }

  char szVersion[16] = "1.8.1.1822";
  char* pVersion = szVersion;
  int nA = 1;
  double dB = 2.5;
  int nC = 3;
  ClParameterContainer root;
};

std::string FullPath(const ClParameter* p)
{
  uint64_t n = 0;
  EXPECT_TRUE(ClParameter::GetFullPath(p, nullptr, n));
  std::string s(n, '#');
  EXPECT_TRUE(ClParameter::GetFullPath(p, &s[0], n));
  s.resize(n - 1);
  return s;
}

} // namespace

TEST(Container, FindIgnoresCaseAndALeafEndsTheDescent)
{
  Tree t;
  ClParameter* pVersion = t.root.Find("Version");
  ASSERT_NE(nullptr, pVersion);
  EXPECT_EQ(pVersion, t.root.Find("vERSION"));
  EXPECT_EQ(pVersion, t.root.Find("Version.foo"));
  EXPECT_EQ(pVersion, t.root.Find("Version.foo.bar"));
  ClParameter* pA = t.root.Find("roll.NA");
  ASSERT_NE(nullptr, pA);
  EXPECT_STREQ("nA", pA->GetName());
  EXPECT_EQ(pA, t.root.Find("Roll.nA.x"));
  EXPECT_EQ(nullptr, t.root.Find("Roll.nZ"));
  EXPECT_EQ(nullptr, t.root.Find(""));
  EXPECT_EQ(nullptr, t.root.Find(nullptr));
  EXPECT_TRUE(t.root.Find("Mask")->IsContainer());
}

TEST(Container, DotPathsResolveFromTheRootAlsoFromInnerContainers)
{
  Tree t;
  ClParameterContainer* pInner = t.root.Find("Mask.Inner")->AsContainer();
  ASSERT_NE(nullptr, pInner);
  EXPECT_EQ(t.root.Find("Version"), pInner->Find(".Version"));
  EXPECT_EQ(&t.root, pInner->Find("."));
  EXPECT_EQ(t.root.Find("Roll.nB"), pInner->Find(".Roll.nB"));
  // A dot behind a container restarts at the root.
  EXPECT_EQ(t.root.Find("Version"), t.root.Find("Roll..Version"));
}

TEST(Container, NamedRootMayHeadAPathButOnlyInItsExactCase)
{
  Tree t("Root");
  ClParameter* pA = t.root.Find("Roll.nA");
  ASSERT_NE(nullptr, pA);
  EXPECT_EQ(pA, t.root.Find("Root.Roll.nA"));
  EXPECT_EQ(pA, t.root.Find(".Root.Roll.nA"));
  EXPECT_EQ(nullptr, t.root.Find("root.Roll.nA"));
  EXPECT_EQ(nullptr, t.root.Find("Root"));
  EXPECT_EQ("Root.Roll.nA", FullPath(pA));
}

TEST(Container, PathPartOfExactly255IsRefusedLongerIsCut)
{
  ClParameterContainer root;
  int n = 0;
  std::string name(255, 'a');
  EXPECT_CL_THROW(root.Find(name.c_str()), -101, nullptr);
  root.CreateContainer("x");
  EXPECT_CL_THROW(root.Find(("x." + name).c_str()), -101, nullptr);
  root.CreateNumeric<int>(std::string(255, 'b').c_str())->Bind(&n, 3);
  ClParameter* p = root.Find(std::string(300, 'b').c_str());
  ASSERT_NE(nullptr, p);
  EXPECT_EQ(p, root.Find((std::string(256, 'b') + ".tail").c_str()));
}

TEST(Container, DuplicateNamesIgnoringCaseAreRefusedAndTheTreeStays)
{
  ClParameterContainer root;
  int a = 0, b = 0;
  root.CreateNumeric<int>("a")->Bind(&a, 3);
  EXPECT_CL_THROW(root.CreateNumeric<int>("A"), -46, nullptr);
  auto* pLoose = new TpParameterNumeric<int, ClParameter>();
  pLoose->SetName("A");
  pLoose->Bind(&b, 3);
  EXPECT_CL_THROW(root.Add(pLoose), -46, nullptr);
  EXPECT_EQ(nullptr, pLoose->GetParent());
  delete pLoose;
  EXPECT_EQ(1u, root.GetChildCount());
}

TEST(Container, WalkVisitsEveryLeafInDepthFirstOrderAndNoContainer)
{
  Tree t;
  EXPECT_EQ((std::vector<std::string>{"Version", "nA", "nB", "nC"}), t.Walk());
  EXPECT_EQ(nullptr, t.root.GetNextLeaf(t.root.Find("Mask.Inner.nC")));
  // A walk started below goes on into the rest of the tree.
  ClParameterContainer* pRoll = t.root.Find("Roll")->AsContainer();
  EXPECT_EQ(t.root.Find("Mask.Inner.nC"), pRoll->GetNextLeaf(t.root.Find("Roll.nB")));

  ClParameterContainer empty;
  EXPECT_EQ(nullptr, empty.GetFirstLeaf());
  TpParameterNumeric<int, ClParameter> orphan;
  EXPECT_CL_THROW(empty.GetNextLeaf(&orphan), -701, nullptr);
}

TEST(Container, FullPathsLeaveOutTheUnnamedRootAndFollowTheSizeProtocol)
{
  Tree t;
  ClParameter* pC = t.root.Find("Mask.Inner.nC");
  EXPECT_EQ("Mask.Inner.nC", FullPath(pC));
  EXPECT_EQ("Version", FullPath(t.root.Find("Version")));
  char buf[16];
  std::memset(buf, '#', sizeof(buf));
  uint64_t n = 13;
  EXPECT_FALSE(ClParameter::GetFullPath(pC, buf, n));
  EXPECT_EQ(14u, n);
  EXPECT_EQ('#', buf[0]);
}

TEST(Container, SubtreeValueOperationsPairChildrenByPosition)
{
  Tree t;
  t.root.SwapValueAndDefault();
  EXPECT_TRUE(t.root.IsDefault());
  t.nA = 10;
  t.nC = 30;
  EXPECT_FALSE(t.root.IsDefault());
  t.root.Find("Mask")->ResetToDefault();
  EXPECT_EQ(3, t.nC);
  EXPECT_EQ(10, t.nA);

  // A clone shares the bound variables and has its own children.
  ClParameter* pClone = t.root.Clone();
  ClParameterContainer* pCopy = pClone->AsContainer();
  ASSERT_NE(nullptr, pCopy);
  EXPECT_NE(t.root.Find("Roll.nA"), pCopy->Find("Roll.nA"));
  pCopy->Find("Roll.nA")->SetFromString("12");
  EXPECT_EQ(12, t.nA);
  pCopy->ResetToDefault();
  EXPECT_EQ(1, t.nA);
  delete pClone;

  TpParameterNumeric<int, ClParameter> leaf;
  EXPECT_CL_THROW(t.root.DefaultFromValueOf(&leaf), -701, nullptr);
  EXPECT_CL_THROW(t.root.CopyTo(&leaf), -701, nullptr);
}
