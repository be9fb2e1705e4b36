// See web_socket_stream.h.
#include "platform/linux/web_socket_stream.h"

#include <algorithm>

namespace {

constexpr std::size_t k_most_in_message = k_web_socket_most_payload + (1U << 20U);
constexpr std::size_t k_most_pings = 4096;

struct IntakeStream {
    GInputStream parent;
    GPollableInputStream* base;
    WebSocketIntake* intake;
};

struct IntakeStreamClass {
    GInputStreamClass parent;
};

struct SocketStream {
    GIOStream parent;
    GIOStream* base;
    GInputStream* input;
};

struct SocketStreamClass {
    GIOStreamClass parent;
};

void intake_stream_pollable(GPollableInputStreamInterface* interface);

G_DEFINE_TYPE_WITH_CODE(IntakeStream, intake_stream, G_TYPE_INPUT_STREAM,
                        G_IMPLEMENT_INTERFACE(G_TYPE_POLLABLE_INPUT_STREAM, intake_stream_pollable))
G_DEFINE_TYPE(SocketStream, socket_stream, G_TYPE_IO_STREAM)

IntakeStream* intake_stream_of(void* object) {
    return static_cast<IntakeStream*>(object);
}

SocketStream* socket_stream_of(void* object) {
    return static_cast<SocketStream*>(object);
}

bool is_beyond(const WebSocketIntake& intake) {
    return intake.in_message > k_most_in_message || intake.pings > k_most_pings;
}

gssize read_some(GPollableInputStream* stream, void* buffer, gsize size, GError** error) {
    const IntakeStream* self = intake_stream_of(stream);
    WebSocketIntake& intake = *self->intake;
    if (is_beyond(intake)) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE, "Too much");
        return -1;
    }
    if (intake.left == 0) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK, "Later");
        return -1;
    }
    const gssize count = g_pollable_input_stream_read_nonblocking(
        self->base, buffer, std::min(size, intake.left), nullptr, error);
    if (count > 0) {
        const auto taken = static_cast<std::size_t>(count);
        intake.left -= taken;
        intake.in_message += taken;
        intake.pings += intake.counter.count({static_cast<unsigned char*>(buffer), taken});
        if (intake.counter.is_between_messages()) {
            intake.in_message = 0; // or the pings of a long silence would count
        }
    }
    return count;
}

// Nobody calls it: libsoup polls.
gssize read_blocking(GInputStream* stream, void* buffer, gsize size, GCancellable* cancellable,
                     GError** error) {
    return g_input_stream_read(G_INPUT_STREAM(intake_stream_of(stream)->base), buffer, size,
                               cancellable, error);
}

gboolean can_poll(GPollableInputStream* stream) {
    return g_pollable_input_stream_can_poll(intake_stream_of(stream)->base);
}

gboolean is_readable(GPollableInputStream* stream) {
    return g_pollable_input_stream_is_readable(intake_stream_of(stream)->base);
}

// Makes the source with which libsoup waits ready by what comes, or by nothing.
void follow_arrivals(WebSocketIntake& intake) {
    GSource* waiting = intake.waiting.get();
    if (waiting == nullptr || g_source_is_destroyed(waiting) != FALSE ||
        intake.is_open == (intake.arrival != nullptr)) {
        return;
    }
    if (intake.is_open) {
        intake.arrival.reset(g_pollable_input_stream_create_source(intake.base, nullptr));
        g_source_set_dummy_callback(intake.arrival.get());
        g_source_add_child_source(waiting, intake.arrival.get());
    } else {
        g_source_remove_child_source(waiting, intake.arrival.get());
        intake.arrival.reset();
    }
}

GSource* create_source(GPollableInputStream* stream, GCancellable* cancellable) {
    WebSocketIntake& intake = *intake_stream_of(stream)->intake;
    GSource* source = g_pollable_source_new_full(stream, nullptr, cancellable);
    intake.waiting.reset(g_source_ref(source));
    intake.arrival.reset();
    follow_arrivals(intake);
    return source;
}

void intake_stream_pollable(GPollableInputStreamInterface* interface) {
    interface->can_poll = can_poll;
    interface->is_readable = is_readable;
    interface->create_source = create_source;
    interface->read_nonblocking = read_some;
}

void intake_stream_finalize(GObject* object) {
    g_object_unref(intake_stream_of(object)->base);
    G_OBJECT_CLASS(intake_stream_parent_class)->finalize(object);
}

void intake_stream_class_init(IntakeStreamClass* type) {
    G_OBJECT_CLASS(type)->finalize = intake_stream_finalize;
    G_INPUT_STREAM_CLASS(type)->read_fn = read_blocking;
}

void intake_stream_init(IntakeStream* /*self*/) {}

GInputStream* input_of(GIOStream* stream) {
    return socket_stream_of(stream)->input;
}

GOutputStream* output_of(GIOStream* stream) {
    return g_io_stream_get_output_stream(socket_stream_of(stream)->base);
}

gboolean close_nothing(GIOStream* /*stream*/, GCancellable* /*cancellable*/, GError** /*error*/) {
    return TRUE;
}

void close_nothing_later(GIOStream* stream, int priority, GCancellable* cancellable,
                         GAsyncReadyCallback callback, void* data) {
    const GObjectPtr<GTask> task(g_task_new(stream, cancellable, callback, data));
    g_task_set_priority(task.get(), priority);
    g_task_return_boolean(task.get(), TRUE);
}

gboolean close_nothing_finish(GIOStream* /*stream*/, GAsyncResult* result, GError** error) {
    return g_task_propagate_boolean(G_TASK(result), error);
}

void socket_stream_finalize(GObject* object) {
    g_object_unref(socket_stream_of(object)->input);
    g_object_unref(socket_stream_of(object)->base);
    G_OBJECT_CLASS(socket_stream_parent_class)->finalize(object);
}

void socket_stream_class_init(SocketStreamClass* type) {
    G_OBJECT_CLASS(type)->finalize = socket_stream_finalize;
    GIOStreamClass* stream = G_IO_STREAM_CLASS(type);
    stream->get_input_stream = input_of;
    stream->get_output_stream = output_of;
    stream->close_fn = close_nothing;
    stream->close_async = close_nothing_later;
    stream->close_finish = close_nothing_finish;
}

void socket_stream_init(SocketStream* /*self*/) {}

} // namespace

GObjectPtr<GIOStream> web_socket_stream(GIOStream* base, WebSocketIntake& intake) {
    auto* input = intake_stream_of(g_object_new(intake_stream_get_type(), nullptr));
    input->base = G_POLLABLE_INPUT_STREAM(g_object_ref(g_io_stream_get_input_stream(base)));
    input->intake = &intake;
    intake.base = input->base;
    auto* stream = socket_stream_of(g_object_new(socket_stream_get_type(), nullptr));
    stream->base = G_IO_STREAM(g_object_ref(base));
    stream->input = G_INPUT_STREAM(input);
    return GObjectPtr<GIOStream>(G_IO_STREAM(stream));
}

void web_socket_allow(WebSocketIntake& intake, std::size_t bytes) {
    intake.left = bytes;
    intake.is_open = bytes > 0;
    follow_arrivals(intake);
}
