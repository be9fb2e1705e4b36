// See peer/peer_report.h.
#include "peer/peer_report.h"

#include "base/text.h"

namespace {

const char* json_bool(bool value) {
    return value ? "true" : "false";
}

} // namespace

std::string format_peer_report(const PeerReport& report) {
    char text[1024];
    format_text(text,
                "{\"seconds\":%.3f,\"room\":\"%s\",\"connected\":%s,\"muted\":%s,\"deafened\":%s,"
                "\"speaking\":%s,\"peers\":%d,\"rtt_ms\":%u,\"jitter_ms\":%u,"
                "\"target_delay_ms\":%u,\"queued_packets\":%u,\"capture_delay_ms\":%.1f,"
                "\"ring_delay_ms\":%.1f,\"render_delay_ms\":%.1f,\"packets_in\":%llu,"
                "\"packets_out\":%llu,\"level\":%.4f,\"received_peak\":%.4f}",
                report.seconds, report.room.c_str(), json_bool(report.connected),
                json_bool(report.muted), json_bool(report.deafened), json_bool(report.speaking),
                report.peers, report.rtt_ms, report.jitter_ms, report.target_delay_ms,
                report.queued_packets, report.capture_delay_ms, report.ring_delay_ms,
                report.render_delay_ms, static_cast<unsigned long long>(report.packets_in),
                static_cast<unsigned long long>(report.packets_out), report.level,
                report.received_peak);
    return text;
}
