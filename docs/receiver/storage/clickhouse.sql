-- The same table for ClickHouse, which merges duplicates away instead of refusing them.
-- scripts/fleet does not run this file. Run by hand on ClickHouse 18.16 with allow_experimental_low_cardinality_type.

CREATE TABLE events
(
    day                 Date,
    box                 String,
    happened_ms         Int64,
    counter             Int64,
    event_id            String,
    type                LowCardinality(String),
    version             Nullable(Int32),
    arrived_ms          Int64,
    firmware_version    LowCardinality(String),
    region              LowCardinality(String),
    playback_session    String,
    channel_id          Nullable(Int64),
    media_type          LowCardinality(String),
    error_reason        LowCardinality(String),
    zap_time_ms         Nullable(Int64),
    interval_ms         Nullable(Int64),
    media_bitrate_kbps  Nullable(Int64),
    buffering_events    Nullable(Int64),
    buffering_ms        Nullable(Int64),
    continuity_errors   Nullable(Int64),
    media_loss_rate     Nullable(Int64),
    delay_factor_ms     Nullable(Int64),
    frames_decoded      Nullable(Int64),
    frame_decode_errors Nullable(Int64),
    rest                String
)
ENGINE = ReplacingMergeTree(arrived_ms)
PARTITION BY day
ORDER BY (type, box, happened_ms, counter, event_id);
