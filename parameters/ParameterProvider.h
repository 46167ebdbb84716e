#pragma once
// What a configurable class offers: its descriptive list, its factory defaults and its
// live parameters. Every operation does nothing by default.
class ClParameterInterface;
class ClParameterContainer;

class ClParameterProvider
{
public:
  virtual ~ClParameterProvider() = default;
  virtual void DeclareInterface(ClParameterInterface&) {}
  virtual void SetDefaultParameters() {}
  virtual void BindParameters(ClParameterContainer&) {}
};
