#pragma once

/// Whether the reference and the peers write what the library writes, with converters and without; says what differs.
bool peersAgree();
