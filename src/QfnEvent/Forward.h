#pragma once

namespace Qfn {

class IEvent;
class IEventListener;
class IEventSource;
class Event;
class EventListener;
class EventSource;
enum class AttachDetach;

}  // namespace Qfn
