// The binary interface: which slot of the vtable each method has.
#include <dshow.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>

namespace {

// A pointer to a virtual method holds 1 + its byte offset in the vtable, and an adjustment of `this`.
struct VirtualMethod {
  std::ptrdiff_t offset_plus_one;
  std::ptrdiff_t adjustment;
};

template <class Method>
std::ptrdiff_t slot_of(Method method) {
  static_assert(sizeof(Method) == sizeof(VirtualMethod));
  return (std::bit_cast<VirtualMethod>(method).offset_plus_one - 1) /
         static_cast<std::ptrdiff_t>(sizeof(void*));
}

struct SlotCase {
  const char* method;
  std::ptrdiff_t slot;
  std::ptrdiff_t expected;
};

#define SLOT(interface, method, expected)                          \
  SlotCase {                                                       \
#interface "::" #method, slot_of(&interface::method), expected \
  }

TEST(InterfaceSlots, AreThoseOfThePlatform) {
  const SlotCase cases[] = {
      SLOT(IUnknown, QueryInterface, 0),
      SLOT(IUnknown, AddRef, 1),
      SLOT(IUnknown, Release, 2),
      SLOT(IClassFactory, CreateInstance, 3),
      SLOT(IClassFactory, LockServer, 4),
      SLOT(IPersist, GetClassID, 3),
      SLOT(IMediaFilter, Stop, 4),
      SLOT(IMediaFilter, Pause, 5),
      SLOT(IMediaFilter, Run, 6),
      SLOT(IMediaFilter, GetState, 7),
      SLOT(IMediaFilter, SetSyncSource, 8),
      SLOT(IMediaFilter, GetSyncSource, 9),
      SLOT(IBaseFilter, EnumPins, 10),
      SLOT(IBaseFilter, FindPin, 11),
      SLOT(IBaseFilter, QueryFilterInfo, 12),
      SLOT(IBaseFilter, JoinFilterGraph, 13),
      SLOT(IBaseFilter, QueryVendorInfo, 14),
      SLOT(IPin, Connect, 3),
      SLOT(IPin, ReceiveConnection, 4),
      SLOT(IPin, Disconnect, 5),
      SLOT(IPin, ConnectedTo, 6),
      SLOT(IPin, ConnectionMediaType, 7),
      SLOT(IPin, QueryPinInfo, 8),
      SLOT(IPin, QueryDirection, 9),
      SLOT(IPin, QueryId, 10),
      SLOT(IPin, QueryAccept, 11),
      SLOT(IPin, EnumMediaTypes, 12),
      SLOT(IPin, QueryInternalConnections, 13),
      SLOT(IPin, EndOfStream, 14),
      SLOT(IPin, BeginFlush, 15),
      SLOT(IPin, EndFlush, 16),
      SLOT(IPin, NewSegment, 17),
      SLOT(IEnumPins, Next, 3),
      SLOT(IEnumPins, Skip, 4),
      SLOT(IEnumPins, Reset, 5),
      SLOT(IEnumPins, Clone, 6),
      SLOT(IEnumMediaTypes, Next, 3),
      SLOT(IEnumMediaTypes, Skip, 4),
      SLOT(IEnumMediaTypes, Reset, 5),
      SLOT(IEnumMediaTypes, Clone, 6),
      SLOT(IEnumFilters, Next, 3),
      SLOT(IEnumFilters, Clone, 6),
      SLOT(IMemAllocator, SetProperties, 3),
      SLOT(IMemAllocator, GetProperties, 4),
      SLOT(IMemAllocator, Commit, 5),
      SLOT(IMemAllocator, Decommit, 6),
      SLOT(IMemAllocator, GetBuffer, 7),
      SLOT(IMemAllocator, ReleaseBuffer, 8),
      SLOT(IMemAllocatorCallbackTemp, SetNotify, 9),
      SLOT(IMemAllocatorCallbackTemp, GetFreeCount, 10),
      SLOT(IMemAllocatorNotifyCallbackTemp, NotifyRelease, 3),
      SLOT(IMemInputPin, GetAllocator, 3),
      SLOT(IMemInputPin, NotifyAllocator, 4),
      SLOT(IMemInputPin, GetAllocatorRequirements, 5),
      SLOT(IMemInputPin, Receive, 6),
      SLOT(IMemInputPin, ReceiveMultiple, 7),
      SLOT(IMemInputPin, ReceiveCanBlock, 8),
      SLOT(IMediaSample, GetPointer, 3),
      SLOT(IMediaSample, GetSize, 4),
      SLOT(IMediaSample, GetTime, 5),
      SLOT(IMediaSample, SetTime, 6),
      SLOT(IMediaSample, IsSyncPoint, 7),
      SLOT(IMediaSample, SetSyncPoint, 8),
      SLOT(IMediaSample, IsPreroll, 9),
      SLOT(IMediaSample, SetPreroll, 10),
      SLOT(IMediaSample, GetActualDataLength, 11),
      SLOT(IMediaSample, SetActualDataLength, 12),
      SLOT(IMediaSample, GetMediaType, 13),
      SLOT(IMediaSample, SetMediaType, 14),
      SLOT(IMediaSample, IsDiscontinuity, 15),
      SLOT(IMediaSample, SetDiscontinuity, 16),
      SLOT(IMediaSample, GetMediaTime, 17),
      SLOT(IMediaSample, SetMediaTime, 18),
      SLOT(IMediaSample2, GetProperties, 19),
      SLOT(IMediaSample2, SetProperties, 20),
      SLOT(IMediaSeeking, GetCapabilities, 3),
      SLOT(IMediaSeeking, CheckCapabilities, 4),
      SLOT(IMediaSeeking, IsFormatSupported, 5),
      SLOT(IMediaSeeking, QueryPreferredFormat, 6),
      SLOT(IMediaSeeking, GetTimeFormat, 7),
      SLOT(IMediaSeeking, IsUsingTimeFormat, 8),
      SLOT(IMediaSeeking, SetTimeFormat, 9),
      SLOT(IMediaSeeking, GetDuration, 10),
      SLOT(IMediaSeeking, GetStopPosition, 11),
      SLOT(IMediaSeeking, GetCurrentPosition, 12),
      SLOT(IMediaSeeking, ConvertTimeFormat, 13),
      SLOT(IMediaSeeking, SetPositions, 14),
      SLOT(IMediaSeeking, GetPositions, 15),
      SLOT(IMediaSeeking, GetAvailable, 16),
      SLOT(IMediaSeeking, SetRate, 17),
      SLOT(IMediaSeeking, GetRate, 18),
      SLOT(IMediaSeeking, GetPreroll, 19),
      SLOT(IQualityControl, Notify, 3),
      SLOT(IQualityControl, SetSink, 4),
      SLOT(IFileSourceFilter, Load, 3),
      SLOT(IFileSourceFilter, GetCurFile, 4),
      SLOT(IMediaEventSink, Notify, 3),
      SLOT(IAMovieSetup, Register, 3),
      SLOT(IAMovieSetup, Unregister, 4),
      SLOT(IReferenceClock, GetTime, 3),
      SLOT(IReferenceClock, AdviseTime, 4),
      SLOT(IReferenceClock, AdvisePeriodic, 5),
      SLOT(IReferenceClock, Unadvise, 6),
      SLOT(IAMFilterMiscFlags, GetMiscFlags, 3),
      SLOT(ISeekingPassThru, Init, 3),
      SLOT(IFilterGraph, AddFilter, 3),
      SLOT(IFilterGraph, RemoveFilter, 4),
      SLOT(IFilterGraph, EnumFilters, 5),
      SLOT(IFilterGraph, FindFilterByName, 6),
      SLOT(IFilterGraph, ConnectDirect, 7),
      SLOT(IFilterGraph, Reconnect, 8),
      SLOT(IFilterGraph, Disconnect, 9),
      SLOT(IFilterGraph, SetDefaultSyncSource, 10),
      SLOT(IGraphBuilder, Connect, 11),
      SLOT(IGraphBuilder, Render, 12),
      SLOT(IGraphBuilder, RenderFile, 13),
      SLOT(IGraphBuilder, AddSourceFilter, 14),
      SLOT(IGraphBuilder, SetLogFile, 15),
      SLOT(IGraphBuilder, Abort, 16),
      SLOT(IGraphBuilder, ShouldOperationContinue, 17),
      SLOT(IFilterGraph2, AddSourceFilterForMoniker, 18),
      SLOT(IFilterGraph2, ReconnectEx, 19),
      SLOT(IFilterGraph2, RenderEx, 20),
      SLOT(IFilterMapper2, CreateCategory, 3),
      SLOT(IFilterMapper2, UnregisterFilter, 4),
      SLOT(IFilterMapper2, RegisterFilter, 5),
      SLOT(IFilterMapper2, EnumMatchingFilters, 6),
  };
  for (const SlotCase& c : cases) EXPECT_EQ(c.slot, c.expected) << c.method;
}

}  // namespace
