// GNSS client service: the callbacks it calls and the calls the GNSS adapter makes.
#pragma once

#include <cstdint>

extern "C" {
// The three callbacks handed to the GNSS client at start, in this order.
typedef void (*GpsStatusCallback)(void* status);
typedef void (*GpsNmeaCallback)(int64_t timestamp, const char* text, int32_t length);
typedef void (*GpsNiParaCallback)(void* ni_record);

struct GpsClientCallbacks {
    GpsStatusCallback status_cb;
    GpsNmeaCallback nmea_cb;
    GpsNiParaCallback nipara_cb;
};

// Starts the GNSS client with the adapter's callbacks.
int32_t gpsclient_init(GpsClientCallbacks* callbacks);
}
