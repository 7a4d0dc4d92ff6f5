-- Makes the two tables: packages as they arrived, and one row for each event.
-- A day that is over its time is dropped with its partition: DROP TABLE events_2026_10_17.

CREATE TABLE arrivals (
    arrived timestamptz NOT NULL,
    package jsonb       NOT NULL
);

CREATE TABLE events (
    day                 date        NOT NULL,  -- of happened, in UTC
    box                 text        NOT NULL,
    happened            timestamptz NOT NULL,
    counter             bigint      NOT NULL,
    event_id            text        NOT NULL,
    type                text        NOT NULL,
    version             integer,
    arrived             timestamptz NOT NULL,
    firmware_version    text,
    region              text,
    playback_session    text,
    channel_id          bigint,
    media_type          text,
    error_reason        text,
    zap_time_ms         bigint,
    interval_ms         bigint,
    media_bitrate_kbps  bigint,
    buffering_events    bigint,
    buffering_ms        bigint,
    continuity_errors   bigint,
    media_loss_rate     bigint,
    delay_factor_ms     bigint,
    frames_decoded      bigint,
    frame_decode_errors bigint,
    rest                jsonb       NOT NULL,  -- the event as it came, less what identifies
    PRIMARY KEY (day, box, happened, counter, event_id)
) PARTITION BY RANGE (day);

CREATE INDEX ON events (type, happened);
CREATE TABLE events_2026_10_17 PARTITION OF events FOR VALUES FROM ('2026-10-17') TO ('2026-10-18');
CREATE TABLE events_other PARTITION OF events DEFAULT;  -- boxes whose clock is wrong
