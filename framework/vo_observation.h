#pragma once
// The framework's observation and participant classes, as an adjustment model calls them.

#include <map>

#include "framework/framework_api.h"
#include "framework/vobject.h"

// The model library's reference to a value object, the key of an observation's partials. The
// framework only passes the map on; whoever fills or reads it includes the model's header,
// which defines the type.
struct ValueHandle;

namespace ZR {

// One observation of the adjustment. The host derives its observation types from this class.
class ZR_FRAMEWORK_API VOObservation : public VObject {
 public:
  VOObservation();
  // Defined in the framework library, so the class's type information lives there once.
  ~VOObservation() override;

  // Fills partials with ∂(computed value)/∂(value object) for every value object the
  // observation depends on, at the objects' current values.
  virtual void GetPartials(std::map<ValueHandle, double>& partials) = 0;
  // The a-priori tolerance of the observation; the weight is weightScale / tolerance.
  virtual double GetTolerance() = 0;
  // The value computed from the current values of the value objects.
  virtual double GetComputed() = 0;
  // The misclosure: observed minus computed, at the current values.
  virtual double GetDifference() = 0;

  // The working tolerance that adaptive weighting keeps between steps.
  double GetValue() const { return Value; }
  void SetValue(const double& value) { Value = value; }

  double Value = 0.0;
};

// An object that wants to hear about every adjustment step: once before the observations are
// evaluated, once after the corrections have been applied. Both do nothing by default.
class ZR_FRAMEWORK_API VOParticipant : public VObject {
 public:
  VOParticipant();

  virtual void BeforeIteration();
  virtual void AfterCorrections();
};

}  // namespace ZR
