-- Takes the packages in "arrivals" apart, and adds a row to "events" for each event that is not there yet.
-- Keys that identify a household (privacy.md) have been replaced before.
-- A value that its column cannot hold makes the whole statement fail: a text where a number is due, or a number of 64 bits
-- that was rounded up beyond 9223372036854775807. A loader in operation tests each event, and sets aside what does not fit.

INSERT INTO events
SELECT (happened AT TIME ZONE 'UTC')::date,
       coalesce(event->>'mac_address', event->>'uid', ''),
       happened,
       coalesce((event->>'event_counter')::bigint, 0),
       coalesce(event->>'event_id', md5(event::text)),
       -- The name in front of the slash; an identifier without a slash names no type.
       coalesce(nullif(split_part(event->>'event_id', '/', 1), event->>'event_id'), ''),
       (event->>'event_version')::integer,
       arrived,
       event->>'firmware_version',
       event->>'current_mrf',
       event->>'playback_session',
       (event#>>'{channel,channel_id}')::bigint,
       event->>'media_type',
       event->>'error_reason',
       (event->>'zap_time')::bigint,
       (event->>'interval_ms')::bigint,
       (event->>'media_bitrate_kbps')::bigint,
       (event#>>'{buffering,buffering_events}')::bigint,
       (event#>>'{buffering,buffering_ms}')::bigint,
       (event#>>'{etr290,first_priority,continuity_count_error}')::bigint,
       (event#>>'{mdi,mlr}')::bigint,
       (event#>>'{mdi,df}')::bigint,
       (event#>>'{decoder,video_frames_decoded}')::bigint,
       (event#>>'{decoder,video_decode_errors}')::bigint,
       event - '{mac_address,uid,san,serial_number,network_interfaces}'::text[]
             #- '{network_info,mac}' #- '{wifi_info,wifi_ssid}' #- '{wifi_info,wifi_bssid}'
FROM arrivals,
     jsonb_array_elements(package->'events') AS event,
     coalesce(to_timestamp((event->>'timestamp')::bigint / 1000.0), arrived) AS happened
WHERE event <> '{}'
ON CONFLICT DO NOTHING;
