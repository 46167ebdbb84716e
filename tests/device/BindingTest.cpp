#include "ProbeRunner.h"

#include <gtest/gtest.h>

// Each case runs the probe in a process of its own: the binding is process-wide.

TEST(Binding, StartsOnceAndSetsGlobalOptions)
{
  ClProbeResult r = RunProbe("", {"start"});
  ASSERT_EQ(r.nExit, 0) << r.sOutput;
  EXPECT_EQ(r["start"], "0");
  EXPECT_EQ(r["instance"], "1");
  EXPECT_EQ(r["again"], "0");

  r = RunProbe("", {"pin"});
  EXPECT_EQ(r["construct"], "0") << r.sOutput;
  EXPECT_EQ(r["global"], "1,0") << "ftrScanGlobalSetOptions(1, pointer to 0)";
  EXPECT_EQ(r["pinned"], "0") << "version 10 is not pinned";
  EXPECT_EQ(r["resident"], "0") << "and goes with its wrapper";
}

TEST(Binding, MissingMandatoryEntryRefusesLibrary)
{
  ClProbeResult r = RunProbe("no-getframe", {"start"});
  ASSERT_EQ(r.nExit, 0) << r.sOutput;
  EXPECT_EQ(r["start"], "-206");
  EXPECT_EQ(r["instance"], "0");
  EXPECT_EQ(r["again"], "-206") << "a failed start is tried again";
  EXPECT_EQ(r["resident"], "0") << "nothing stays loaded";

  r = RunProbe("no-getframe", {"sdk"});
  EXPECT_EQ(r["initialize"], "-206") << r.sOutput;
  EXPECT_EQ(r["query"], "-206");
}

TEST(Binding, OldOrUnversionedLibraryStaysPinned)
{
  for (const char* variant : {"v9", "no-version"}) {
    ClProbeResult r = RunProbe(variant, {"pin"});
    EXPECT_EQ(r["construct"], "0") << variant << ": " << r.sOutput;
    EXPECT_EQ(r["pinned"], "1") << variant;
    EXPECT_EQ(r["resident"], "1") << variant << " stays after its wrapper is gone";
  }
  ClProbeResult r = RunProbe("v10", {"pin"});
  EXPECT_EQ(r["pinned"], "0") << r.sOutput;
  EXPECT_EQ(r["resident"], "0");
}

TEST(Binding, SdkStartsBindingAndQueries)
{
  ClProbeResult r = RunProbe("", {"sdk"});
  ASSERT_EQ(r.nExit, 0) << r.sOutput;
  EXPECT_EQ(r["initialize"], "0");
  EXPECT_EQ(r["query"], "-702") << "the built-in simulator has one scanner";
  EXPECT_EQ(r["count"], "1");
}

TEST(Binding, EndedBindingGivesCleanCodes)
{
  // Ended by hand, and at process exit from a destructor that runs after the binding's
  // owner: later calls get -2 instead of jumping into the unloaded library.
  for (const char* scenario : {"end", "late"}) {
    ClProbeResult r = RunProbe("", {scenario});
    ASSERT_EQ(r.nExit, 0) << scenario << ": " << r.sOutput;
    EXPECT_EQ(r["open"], "0") << scenario;
    EXPECT_EQ(r["setled"], "-2") << scenario;
    EXPECT_EQ(r["query"], "-2") << scenario;
    EXPECT_EQ(r["close"], "0") << scenario;
  }
  ClProbeResult r = RunProbe("", {"end"});
  EXPECT_EQ(r["waited"], "1") << "the end waits for a call inside the library";
  EXPECT_EQ(r["instance"], "0");
  EXPECT_EQ(r["resident"], "0") << "version 10 goes with the binding";
  EXPECT_EQ(r["start"], "-2") << "the binding is not made again";
}

TEST(Binding, FailedUnloadInDestructorIsLoggedNotRaised)
{
  ClProbeResult r = RunProbe("", {"unload"});
  ASSERT_EQ(r.nExit, 0) << r.sOutput;
  EXPECT_EQ(r["unload"], "-204");
  EXPECT_EQ(r["survived"], "1");
  EXPECT_NE(r["debug"].find("stubborn-module"), std::string::npos) << r.sOutput;
}

namespace {
// Whether the debug output of a probe holds exactly this message.
bool HasDebugLine(const ClProbeResult& r, const std::string& sLine)
{
  return ("|" + r["debug"]).find("|" + sLine + "|") != std::string::npos;
}

const char szFaults[] = R"({"devices":[{"interface":0,"compatibility":7,"serial":"21234567",
  "script":[{"empty":4}],
  "faults":[{"call":"ftrScanSetDiodesStatus","error":121,"count":1},
            {"call":"ftrScanGetImage","error":121,"count":1}]}]})";
} // namespace

TEST(Wrapper, WithoutLastErrorNoRetryAndTheBareMessage)
{
  ClProbeResult r = RunProbe("no-lasterror", {"device", szFaults});
  ASSERT_EQ(r.nExit, 0) << r.sOutput;
  EXPECT_EQ(r["configured"], "1");
  EXPECT_EQ(r["nothing"], "-101");
  EXPECT_TRUE(HasDebugLine(r, "Unable to open device")) << "the bare message: " << r["debug"];
  EXPECT_EQ(r["open"], "0");
  // No last error, so no way to see 121: one call, no repeat.
  EXPECT_EQ(r["setled"], "-60");
  EXPECT_EQ(r["diode.calls"], "1");
  EXPECT_EQ(r["image"], "-60");
  EXPECT_EQ(r["image.calls"], "1");

  // With the last error the same faults are carried by the one repeat.
  r = RunProbe("", {"device", szFaults});
  EXPECT_EQ(r["setled"], "0") << r.sOutput;
  EXPECT_EQ(r["diode.calls"], "2");
  EXPECT_EQ(r["image"], "0");
  EXPECT_EQ(r["image.calls"], "2");
  EXPECT_TRUE(HasDebugLine(r, "KXScanAPI - Unable to open device:2")) << r["debug"];
  EXPECT_EQ(r["names"], "KX2 21234567;");
}

TEST(Wrapper, AbsentOptionalEntriesRefusedCleanly)
{
  ClProbeResult r = RunProbe("no-controlbytes", {"device"});
  ASSERT_EQ(r.nExit, 0) << r.sOutput;
  EXPECT_EQ(r["restore"], "-102");
  EXPECT_EQ(r["save"], "-102");
  EXPECT_EQ(r["context"], "0");

  r = RunProbe("no-iocontext", {"device"});
  EXPECT_EQ(r["context"], "-725") << r.sOutput;
  EXPECT_EQ(r["restore"], "0");

  r = RunProbe("no-version", {"device"});
  EXPECT_EQ(r["open"], "0") << r.sOutput;
  EXPECT_EQ(r["version"], "-103");
  EXPECT_EQ(r["names"], "KX2 21234567;");
}
