// Reading fingers and scripts from JSON.
#include "simulator/JsonTree.h"
#include "simulator/render/Script.h"

namespace kxsim {

using json::Key;
using json::Tree;

ClFinger FingerPreset(const std::string& sName, const ClFinger& base)
{
  ClFinger f = base;
  if (sName == "rigid") {
    // Today's simulator of old: a rigid, motionless, evenly lit print.
    f.dDistortion = f.dTremor = f.dShape = f.dUneven = 0.0;
  } else if (sName == "faint") {
    f.dPressure = 0.45;
    f.dContrast = 30.0;
  } else if (sName == "light") {
    f.dPressure = 0.6;
    f.dContrast = 70.0;
  } else if (sName == "normal") {
    f.dPressure = 0.8;
    f.dContrast = 0.0;
  } else if (sName == "strong") {
    f.dPressure = 0.95;
    f.dContrast = 150.0;
  } else if (sName == "dry") {
    f.dPressure = 0.7;
    f.dMoisture = -1.0;
  } else if (sName == "wet") {
    f.dPressure = 0.85;
    f.dMoisture = 0.8;
  } else {
    throw ClSimConfigError("unknown finger preset \"" + sName + "\"");
  }
  return f;
}

ClFinger ParseFinger(const Tree& node, const std::string& where, const ClFinger& base)
{
  json::CheckKeys(node, where,
                  {"seed", "pattern", "pressure", "moisture", "fake", "x", "y", "width", "height",
                   "preset", "period", "contrast", "distortion", "tremor", "shape", "uneven",
                   "tilt", "creases"});
  ClFinger f = base;
  if (auto v = node.get_child_optional("preset")) {
    const std::string w = Key(where, "preset");
    try {
      f = FingerPreset(json::Text(*v, w), f);
    } catch (const ClSimConfigError& e) {
      json::Fail(w, e.what());
    }
  }
  for (const auto& kv : node) {
    const std::string& k = kv.first;
    const std::string w = Key(where, k);
    if (k == "period") {
      f.dPeriod = json::Number(kv.second, w, 8.0, 12.0);
    } else if (k == "contrast") {
      f.dContrast = json::Number(kv.second, w, 0.0, 220.0);
    } else if (k == "distortion") {
      f.dDistortion = json::Number(kv.second, w, 0.0, 3.0);
    } else if (k == "tremor") {
      f.dTremor = json::Number(kv.second, w, 0.0, 10.0);
    } else if (k == "shape") {
      f.dShape = json::Number(kv.second, w, 0.0, 1.0);
    } else if (k == "uneven") {
      f.dUneven = json::Number(kv.second, w, 0.0, 3.0);
    } else if (k == "tilt") {
      f.dTilt = json::Number(kv.second, w, -45.0, 45.0);
    } else if (k == "creases") {
      f.nCreases = int(json::Integer(kv.second, w, 0, 12));
    } else if (k == "seed") {
      f.nSeed = uint32_t(json::Integer(kv.second, w, 0, 0xFFFFFFFFll));
    } else if (k == "pattern") {
      const std::string p = json::Text(kv.second, w);
      if (p == "auto")
        f.ePattern = EPattern::eAuto;
      else if (p == "loop_left")
        f.ePattern = EPattern::eLoopLeft;
      else if (p == "loop_right")
        f.ePattern = EPattern::eLoopRight;
      else if (p == "whorl")
        f.ePattern = EPattern::eWhorl;
      else if (p == "arch")
        f.ePattern = EPattern::eArch;
      else
        json::Fail(w, "expected auto, loop_left, loop_right, whorl or arch, found \"" + p + "\"");
    } else if (k == "pressure") {
      f.dPressure = json::Number(kv.second, w, 0.0, 1.0);
    } else if (k == "moisture") {
      f.dMoisture = json::Number(kv.second, w, -1.0, 1.0);
    } else if (k == "fake") {
      f.bFake = json::Boolean(kv.second, w);
    } else if (k == "x") {
      f.dCentreX = json::Number(kv.second, w, -1.0, 20000.0);
    } else if (k == "y") {
      f.dCentreY = json::Number(kv.second, w, -1.0, 20000.0);
    } else if (k == "width") {
      f.dWidth = json::Number(kv.second, w, 10.0, 4000.0);
    } else if (k == "height") {
      f.dHeight = json::Number(kv.second, w, 10.0, 4000.0);
    }
  }
  return f;
}

namespace {

constexpr long long kMaxFrames = 10000000;

ClRollMotion ParseRoll(const Tree& node, const std::string& where)
{
  ClRollMotion r;
  double from = 200.0, to = 600.0;
  bool path = false;
  if (auto v = node.get_child_optional("from_x"))
    from = json::Number(*v, Key(where, "from_x"), -4000.0, 20000.0);
  if (auto v = node.get_child_optional("to_x"))
    to = json::Number(*v, Key(where, "to_x"), -4000.0, 20000.0);
  r.aPath = {from, to};
  if (auto v = node.get_child_optional("path")) {
    r.aPath = json::Numbers(*v, Key(where, "path"), -4000.0, 20000.0);
    if (r.aPath.empty())
      json::Fail(Key(where, "path"), "needs at least one column");
    path = true;
  }
  if (auto v = node.get_child_optional("patch_width"))
    r.dPatchWidth = json::Number(*v, Key(where, "patch_width"), 20.0, 4000.0);
  if (auto v = node.get_child_optional("settle"))
    r.nSettle = int(json::Integer(*v, Key(where, "settle"), 0, 100000));
  if (auto v = node.get_child_optional("touchdown"))
    r.nTouchdown = int(json::Integer(*v, Key(where, "touchdown"), 0, 1000));
  if (auto v = node.get_child_optional("drift"))
    r.dDrift = json::Number(*v, Key(where, "drift"), -200.0, 200.0);
  if (auto v = node.get_child_optional("back")) {
    // Rolled backwards: at a fraction of the way the patch turns back by some pixels,
    // then goes on to the end.
    const std::string w = Key(where, "back");
    json::CheckKeys(*v, w, {"at", "by"});
    if (path)
      json::Fail(w, "cannot be combined with \"path\"");
    const double at = json::Number(v->get_child("at", Tree("0.6")), Key(w, "at"), 0.0, 1.0);
    const double by = json::Number(v->get_child("by", Tree("80")), Key(w, "by"), 0.0, 20000.0);
    const double turn = from + (to - from) * at;
    r.aPath = {from, turn, turn - (to >= from ? by : -by), to};
  }
  if (auto v = node.get_child_optional("slip")) {
    const std::string w = Key(where, "slip");
    json::CheckKeys(*v, w, {"at", "dx", "dy"});
    r.dSlipAt = json::Number(v->get_child("at", Tree("0.5")), Key(w, "at"), 0.0, 1.0);
    r.nSlipX = int(json::Integer(v->get_child("dx", Tree("30")), Key(w, "dx"), -1000, 1000));
    r.nSlipY = int(json::Integer(v->get_child("dy", Tree("0")), Key(w, "dy"), -1000, 1000));
  }
  if (auto v = node.get_child_optional("lifted")) {
    const std::string w = Key(where, "lifted");
    json::CheckKeys(*v, w, {"at", "frames"});
    r.dLiftAt = json::Number(v->get_child("at", Tree("0.5")), Key(w, "at"), 0.0, 1.0);
    r.nLiftFrames =
        int(json::Integer(v->get_child("frames", Tree("6")), Key(w, "frames"), 0, 100000));
  }
  return r;
}

ClScriptStep ParseStep(const Tree& node, const std::string& where)
{
  static const char* const kKinds[] = {"empty", "place", "still", "lift", "roll"};
  ClScriptStep s;
  int kinds = 0;
  for (int i = 0; i < 5; ++i) {
    if (auto v = node.get_child_optional(kKinds[i])) {
      ++kinds;
      s.eKind = EStep(i);
      s.nFrames = int(json::Integer(*v, Key(where, kKinds[i]), 1, kMaxFrames));
    }
  }
  if (kinds != 1)
    json::Fail(where, "a step needs exactly one of empty, place, still, lift or roll");
  if (s.eKind == EStep::eRoll) {
    json::CheckKeys(node, where,
                    {"roll", "residue", "finger", "from_x", "to_x", "path", "patch_width", "settle",
                     "back", "slip", "lifted", "touchdown", "drift", "drop", "jitter_ms"});
    s.roll = ParseRoll(node, where);
  } else if (s.eKind == EStep::ePlace) {
    json::CheckKeys(node, where, {"place", "residue", "finger", "settle", "drop", "jitter_ms"});
    if (auto v = node.get_child_optional("settle"))
      s.nSettle = int(json::Integer(*v, Key(where, "settle"), 0, 100000));
  } else if (s.eKind == EStep::eLift) {
    json::CheckKeys(node, where,
                    {"lift", "residue", "finger", "latent", "smear", "drop", "jitter_ms"});
    if (auto v = node.get_child_optional("latent"))
      s.latent.dStrength = json::Number(*v, Key(where, "latent"), 0.0, 1.0);
    if (auto v = node.get_child_optional("smear"))
      s.latent.dSmear = json::Number(*v, Key(where, "smear"), 0.0, 1.0);
  } else {
    json::CheckKeys(node, where, {kKinds[int(s.eKind)], "residue", "finger", "drop", "jitter_ms"});
  }
  if (auto v = node.get_child_optional("drop")) {
    for (long long k : json::Integers(*v, Key(where, "drop"), 0, kMaxFrames))
      s.aDrop.push_back(int(k));
  }
  if (auto v = node.get_child_optional("jitter_ms")) {
    s.bJitter = true;
    s.dJitterMs = json::Number(*v, Key(where, "jitter_ms"), 0.0, 1000.0);
  }
  if (auto v = node.get_child_optional("residue")) {
    s.bResidue = true;
    s.dResidue = json::Number(*v, Key(where, "residue"), 0.0, 1.0);
  }
  if (auto v = node.get_child_optional("finger")) {
    s.bFinger = true;
    s.finger = ParseFinger(*v, Key(where, "finger"), ClFinger());
  }
  return s;
}

} // namespace

ClScript ParseScript(const Tree& node, const std::string& where)
{
  if (!json::IsArray(node))
    json::Fail(where, "a script is an array of steps");
  ClScript script;
  size_t i = 0;
  for (const auto& child : node)
    script.Add(ParseStep(child.second, json::Item(where, i++)));
  return script;
}

ClScript ClScript::FromJson(const std::string& sText)
{
  const Tree tree = json::Parse(sText, "script text");
  if (json::IsArray(tree))
    return ParseScript(tree, "script");
  json::CheckKeys(tree, "", {"script", "loop"});
  ClScript s;
  if (auto v = tree.get_child_optional("script"))
    s = ParseScript(*v, "script");
  if (auto v = tree.get_child_optional("loop"))
    s.SetLoop(json::Boolean(*v, "loop"));
  return s;
}

} // namespace kxsim
