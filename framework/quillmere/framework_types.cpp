// Stand-in for the framework library: the out-of-line members of the framework classes.
//
// Each class's first out-of-line virtual member is defined here, so the compiler emits the
// class's vtable and type information in this library alone. A model library and a host then
// refer to one and the same ZR::VOValue type information, and the checked down-cast from
// VObject succeeds whichever library created the object and whichever library casts it.
// VOObservation has only pure virtual members, so no such anchor: its vtable and type
// information are emitted wherever they are needed, and default visibility lets the dynamic
// loader merge the copies into one.
//
// The behaviour is the framework's documented default: ValueChanged, BeforeIteration and
// AfterCorrections do nothing.

#include "framework/vo_observation.h"
#include "framework/vobject.h"

VObject::~VObject() = default;

namespace ZR {

VOValue::VOValue(uint64 id, double value) : identifier(id), Value(value) {}

void VOValue::ValueChanged() {}

VOObservation::VOObservation() = default;

VOObservation::~VOObservation() = default;

VOParticipant::VOParticipant() = default;

void VOParticipant::BeforeIteration() {}

void VOParticipant::AfterCorrections() {}

}  // namespace ZR
