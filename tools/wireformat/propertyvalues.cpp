#include <wireformat/model.h>
#include <wireformat/recordvalues.h>

#include <analytics/valuenames.h>

#include <algorithm>

namespace wireformat {

using namespace analytics;

namespace {

Value any()
{
    return {Value::Kind::Any};
}

Value boolean()
{
    return {Value::Kind::Boolean};
}

Value integer()
{
    return {Value::Kind::Integer};
}

Value number()
{
    return {Value::Kind::Number};
}

Value text()
{
    return {Value::Kind::Text};
}

template <typename Enumeration> Value oneOf(QHash<Enumeration, QLatin1String> const &names)
{
    QList<Enumeration> enumerators = names.keys();
    std::sort(enumerators.begin(), enumerators.end());
    Value value = text();
    for (Enumeration enumerator : enumerators)
        value.words.append(names.value(enumerator));
    return value;
}

/// A list that the host fills: what it has no value for, and an empty record, is null there.
Value list(Value element)
{
    element.mayBeNull = true;
    Value value{Value::Kind::List};
    value.element = {element};
    return value;
}

Value texts()
{
    Value element = text();
    element.mayBeEmpty = true;
    return list(element);
}

} // namespace

// clang-format off
// NOLINTBEGIN(bugprone-branch-clone): a row for each property, so that the compiler tells of one that is missing.

/// Identifiers and the like, which one back end counts and another names, may be anything.
Value valueOf(Property property)
{
    using P = Property;
    switch (property) {
    case P::ActiveInterface:        return text();
    case P::AdDuration:             return integer();
    case P::AdPlaceType:            return text();
    case P::AdPlaylist:             return any();
    case P::AdServer:               return text();
    case P::AppPreparationTime:     return integer();
    case P::AppScreen:              return text();
    case P::AuthMode:               return text();
    case P::B2bType:                return text();
    case P::BroadcastType:          return text();
    case P::BufferingInfo:          return record<BufferingInfo>();
    case P::ButtonName:             return text();
    case P::Channel:                return record<Channel>();
    case P::ClockContinuityGap:     return integer();
    case P::Components:             return any();
    case P::ContentId:              return any();
    case P::ContentType:            return text();
    case P::CpuInfo:                return record<CpuInfo>();
    case P::CurLocation:            return text();
    case P::CurSubLocation:         return text();
    case P::CurrentMrf:             return text();
    case P::Dash:                   return record<DashInfo>();
    case P::Decoder:                return record<DecoderInfo>();
    case P::DefaultAgeLimit:        return integer();
    case P::DemoMode:               return boolean();
    case P::DeviceType:             return text();
    case P::DiscoverCase:           return text();
    case P::Elements:               return any();
    case P::Endpoints:              return record<Endpoints>();
    case P::ErrorDetails:           return any();
    case P::ErrorReason:            return text();
    case P::Etr290:                 return record<Etr290Info>();
    case P::EventCounter:           return integer();
    case P::EventId:                return text();
    case P::EventVersion:           return integer();
    case P::Feedback:               return text();
    case P::FirmwareVersion:        return text();
    case P::HdmiInfo:               return record<HdmiInfo>();
    case P::HdmiStatus:             return boolean();
    case P::Hls:                    return record<HlsInfo>();
    case P::HomeMrf:                return text();
    case P::HttpError:              return record<HttpError>();
    case P::HwInfo:                 return record<HardwareInfo>();
    case P::Id:                     return any();
    case P::Interval:               return integer();
    case P::IpTos:                  return integer();
    case P::IsQuickPurchase:        return boolean();
    case P::IsShouldLinkCard:       return boolean();
    case P::IsTest:                 return boolean();
    case P::ItemId:                 return any();
    case P::ItemPosition:           return integer();
    case P::ItemTarget:             return any();
    case P::ItemType:               return text();
    case P::Location:               return text();
    case P::LoginMode:              return text();
    case P::LinkFaults:             return integer();
    case P::MacAddress:             return text();
    case P::Manufacturer:           return text();
    case P::McastSource:            return text();
    case P::Mdi:                    return record<MdiInfo>();
    case P::MediaBlock:             return any();
    case P::MediaBlockPosition:     return integer();
    case P::MediaBlockShort:        return any();
    case P::MediaInfo:              return record<MediaInfo>();
    case P::MediaItem:              return record<MediaItem>();
    case P::MediaKBitrate:          return integer();
    case P::MediaProcessingTime:    return integer();
    case P::MediaReceivingTime:     return integer();
    case P::MediaType:              return oneOf(mediaTypeToName());
    case P::MemoryInfo:             return record<MemoryInfo>();
    case P::MessageDelivery:        return text();
    case P::MessageId:              return any();
    case P::MessageTarget:          return record<MessageTarget>();
    case P::MessageType:            return text();
    case P::ModelName:              return text();
    case P::Name:                   return text();
    case P::NcError:                return record<NcError>();
    case P::NetworkInfo:            return record<NetworkInfo>();
    case P::NetworkInterfaces:      return list(record<NetworkInterface>());
    case P::Offset:                 return integer();
    case P::OldOffset:              return integer();
    case P::Path:                   return any();
    case P::PayMethodId:            return any();
    case P::Pin:                    return boolean();
    case P::PlaybackDuration:       return integer();
    case P::PlaybackPlaylistUrl:    return text();
    case P::PlaybackPosition:       return integer();
    case P::PlaybackRealIp:         return text();
    case P::PlaybackSegmentUrl:     return text();
    case P::PlaybackSession:        return text();
    case P::PlaybackState:          return oneOf(playbackStatusToName());
    case P::PlaybackTrickModeSpeed: return number();
    case P::PlaybackUrl:            return text();
    case P::PlaybackUrlFailed:      return text();
    case P::PlaybackUrlNew:         return text();
    case P::PlaybackUrlsList:       return texts();
    case P::PlayerMode:             return text();
    case P::PollResult:             return any();
    case P::PowerInfo:              return record<PowerInfo>();
    case P::ProfileId:              return any();
    case P::ProfileType:            return text();
    case P::PurchaseVariant:        return record<PurchaseVariant>();
    case P::PurchaseVariants:       return list(record<PurchaseVariant>());
    case P::Query:                  return text();
    case P::Rating:                 return number();
    case P::RcuIdlePeriod:          return integer();
    case P::RestoreReason:          return oneOf(restoreReasonTypeToName());
    case P::ResultCode:             return any();
    case P::San:                    return text();
    case P::Scte35:                 return record<Scte35>();
    case P::SerialNumber:           return text();
    case P::ServiceId:              return any();
    case P::SessionState:           return text();
    case P::SubLocation:            return text();
    case P::SystemLoadTime:         return integer();
    case P::SystemSettings:         return record<SystemSettings>();
    case P::SystemUptime:           return integer();
    case P::Target:                 return any();
    case P::TicketId:               return any();
    case P::TimeZone:               return text();
    case P::Timestamp:              return integer();
    case P::Title:                  return text();
    case P::TotalItems:             return integer();
    case P::TriggerContentType:     return text();
    case P::TriggerId:              return any();
    case P::Uid:                    return text();
    case P::UsageModel:             return text();
    case P::UserInteractionTime:    return integer();
    case P::ValidUntil:             return any();
    case P::VerimatrixCasError:     return record<VerimatrixError>();
    case P::VerimatrixDrmError:     return record<VerimatrixError>();
    case P::VmxErrors:              return record<VmxErrors>();
    case P::WidgetName:             return oneOf(widgetNameToName());
    case P::WifiInfo:               return record<WifiInfo>();
    case P::KivoLoadTime:           return integer();
    case P::KivoModuleName:         return text();
    case P::KivoStatus:             return text();
    case P::KivoVersion:            return text();
    case P::ZapTime:                return integer();
    }
    Q_UNREACHABLE();
}

// NOLINTEND(bugprone-branch-clone)
// clang-format on

} // namespace wireformat
