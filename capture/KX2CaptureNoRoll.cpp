// Stand-in for the roll side until the roll processor is part of the build: roll mode
// then delivers no composite and its waits run out.
#include "capture/KX2LiveCaptureR2.h"

#include <boost/property_tree/ptree.hpp>

void ClKX2LiveCaptureR2::CreateRoll() {}
void ClKX2LiveCaptureR2::DeleteRoll() {}
void ClKX2LiveCaptureR2::ResetRollProcessor() {}
uint32_t ClKX2LiveCaptureR2::GetStartSettling() { return 1; }
void ClKX2LiveCaptureR2::SetStartSettling(uint32_t) {}
void ClKX2LiveCaptureR2::RollDiagnostics(boost::property_tree::ptree&) {}
void ClKX2LiveCaptureR2::LoadRollThresholds(const boost::property_tree::ptree&) {}
void ClKX2LiveCaptureR2::RollWorker() {}
void ClKX2LiveCaptureR2::RollMaskWorker() {}
