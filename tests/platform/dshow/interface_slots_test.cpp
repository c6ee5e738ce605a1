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

// The methods have consecutive slots from `first` on.
template <class... Methods>
void expect_slots(const char* interface, std::ptrdiff_t first, Methods... methods) {
  std::ptrdiff_t expected = first;
  (
      [&](auto method) {
        EXPECT_EQ(slot_of(method), expected) << interface << ", method " << expected;
        ++expected;
      }(methods),
      ...);
}

TEST(InterfaceSlots, AreThoseOfThePlatform) {
  expect_slots("IUnknown", 0, &IUnknown::QueryInterface, &IUnknown::AddRef, &IUnknown::Release);
  expect_slots("IClassFactory", 3, &IClassFactory::CreateInstance, &IClassFactory::LockServer);
  expect_slots("IPersist", 3, &IPersist::GetClassID);
  expect_slots("IMediaFilter", 4, &IMediaFilter::Stop, &IMediaFilter::Pause, &IMediaFilter::Run,
               &IMediaFilter::GetState, &IMediaFilter::SetSyncSource, &IMediaFilter::GetSyncSource);
  expect_slots("IBaseFilter", 10, &IBaseFilter::EnumPins, &IBaseFilter::FindPin,
               &IBaseFilter::QueryFilterInfo, &IBaseFilter::JoinFilterGraph, &IBaseFilter::QueryVendorInfo);
  expect_slots("IPin", 3, &IPin::Connect, &IPin::ReceiveConnection, &IPin::Disconnect, &IPin::ConnectedTo,
               &IPin::ConnectionMediaType, &IPin::QueryPinInfo, &IPin::QueryDirection, &IPin::QueryId,
               &IPin::QueryAccept, &IPin::EnumMediaTypes, &IPin::QueryInternalConnections, &IPin::EndOfStream,
               &IPin::BeginFlush, &IPin::EndFlush, &IPin::NewSegment);
  expect_slots("IEnumPins", 3, &IEnumPins::Next, &IEnumPins::Skip, &IEnumPins::Reset, &IEnumPins::Clone);
  expect_slots("IEnumMediaTypes", 3, &IEnumMediaTypes::Next, &IEnumMediaTypes::Skip, &IEnumMediaTypes::Reset,
               &IEnumMediaTypes::Clone);
  expect_slots("IEnumFilters", 3, &IEnumFilters::Next, &IEnumFilters::Skip, &IEnumFilters::Reset,
               &IEnumFilters::Clone);
  expect_slots("IAMovieSetup", 3, &IAMovieSetup::Register, &IAMovieSetup::Unregister);
  expect_slots("IAMFilterMiscFlags", 3, &IAMFilterMiscFlags::GetMiscFlags);
  expect_slots("IFileSourceFilter", 3, &IFileSourceFilter::Load, &IFileSourceFilter::GetCurFile);
  expect_slots("IMemAllocator", 3, &IMemAllocator::SetProperties, &IMemAllocator::GetProperties,
               &IMemAllocator::Commit, &IMemAllocator::Decommit, &IMemAllocator::GetBuffer,
               &IMemAllocator::ReleaseBuffer);
  expect_slots("IMemAllocatorCallbackTemp", 9, &IMemAllocatorCallbackTemp::SetNotify,
               &IMemAllocatorCallbackTemp::GetFreeCount);
  expect_slots("IMemAllocatorNotifyCallbackTemp", 3, &IMemAllocatorNotifyCallbackTemp::NotifyRelease);
  expect_slots("IMemInputPin", 3, &IMemInputPin::GetAllocator, &IMemInputPin::NotifyAllocator,
               &IMemInputPin::GetAllocatorRequirements, &IMemInputPin::Receive,
               &IMemInputPin::ReceiveMultiple, &IMemInputPin::ReceiveCanBlock);
  expect_slots("IMediaSample", 3, &IMediaSample::GetPointer, &IMediaSample::GetSize, &IMediaSample::GetTime,
               &IMediaSample::SetTime, &IMediaSample::IsSyncPoint, &IMediaSample::SetSyncPoint,
               &IMediaSample::IsPreroll, &IMediaSample::SetPreroll, &IMediaSample::GetActualDataLength,
               &IMediaSample::SetActualDataLength, &IMediaSample::GetMediaType, &IMediaSample::SetMediaType,
               &IMediaSample::IsDiscontinuity, &IMediaSample::SetDiscontinuity, &IMediaSample::GetMediaTime,
               &IMediaSample::SetMediaTime);
  expect_slots("IMediaSample2", 19, &IMediaSample2::GetProperties, &IMediaSample2::SetProperties);
  expect_slots("IMediaSeeking", 3, &IMediaSeeking::GetCapabilities, &IMediaSeeking::CheckCapabilities,
               &IMediaSeeking::IsFormatSupported, &IMediaSeeking::QueryPreferredFormat,
               &IMediaSeeking::GetTimeFormat, &IMediaSeeking::IsUsingTimeFormat,
               &IMediaSeeking::SetTimeFormat, &IMediaSeeking::GetDuration, &IMediaSeeking::GetStopPosition,
               &IMediaSeeking::GetCurrentPosition, &IMediaSeeking::ConvertTimeFormat,
               &IMediaSeeking::SetPositions, &IMediaSeeking::GetPositions, &IMediaSeeking::GetAvailable,
               &IMediaSeeking::SetRate, &IMediaSeeking::GetRate, &IMediaSeeking::GetPreroll);
  expect_slots("IQualityControl", 3, &IQualityControl::Notify, &IQualityControl::SetSink);
  expect_slots("ISeekingPassThru", 3, &ISeekingPassThru::Init);
  expect_slots("IMediaEventSink", 3, &IMediaEventSink::Notify);
  expect_slots("IReferenceClock", 3, &IReferenceClock::GetTime, &IReferenceClock::AdviseTime,
               &IReferenceClock::AdvisePeriodic, &IReferenceClock::Unadvise);
  expect_slots("IFilterGraph", 3, &IFilterGraph::AddFilter, &IFilterGraph::RemoveFilter,
               &IFilterGraph::EnumFilters, &IFilterGraph::FindFilterByName, &IFilterGraph::ConnectDirect,
               &IFilterGraph::Reconnect, &IFilterGraph::Disconnect, &IFilterGraph::SetDefaultSyncSource);
  expect_slots("IGraphBuilder", 11, &IGraphBuilder::Connect, &IGraphBuilder::Render,
               &IGraphBuilder::RenderFile, &IGraphBuilder::AddSourceFilter, &IGraphBuilder::SetLogFile,
               &IGraphBuilder::Abort, &IGraphBuilder::ShouldOperationContinue);
  expect_slots("IFilterGraph2", 18, &IFilterGraph2::AddSourceFilterForMoniker, &IFilterGraph2::ReconnectEx,
               &IFilterGraph2::RenderEx);
  expect_slots("IFilterMapper2", 3, &IFilterMapper2::CreateCategory, &IFilterMapper2::UnregisterFilter,
               &IFilterMapper2::RegisterFilter, &IFilterMapper2::EnumMatchingFilters);
}

}  // namespace
