// The main thread's netlink loop: opens the AT channel, registers the command table, posts every request.
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "at_kernel.h"
#include "module_info.h"
#include "nl_channel.h"
#include "osa.h"
#include "osa_buffer.h"
#include "qsp_notify.h"
#include "tandrel_core.h"
#include "tandrel_main.h"
#include "tandrel_trace.h"

uint32_t g_nl_seq = 0;
uint8_t g_nl_rx_buf[FIX_NL_DATA_LENGTH];
// Bytes of g_nl_rx_buf that can be non-zero: past them it is all zero.
static uint32_t g_nl_rx_dirty = FIX_NL_DATA_LENGTH;

namespace {

static_assert(sizeof(sockaddr_nl) == NL_SOCKADDR_SIZE);

sockaddr_nl nl_address(uint32_t port_id) {
    sockaddr_nl a{};
    a.nl_family = AF_NETLINK;
    a.nl_pid = port_id;
    return a;
}

void trace_bind_failure(int fd, int err) {
    const char* text = nl_bind_errno_text(err);
    if (text != nullptr) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "%s", text);
    } else if (err > 0) {
        return;  // other errno values close the socket silently
    }
    TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_netlink_msg_process bind failed. fd = %d", fd);
}

// Sets the channel's descriptor for send_at_response_to_kernel, which other
// threads may already be calling for reports.
void set_user_fd(int fd) { std::atomic_ref<int>(g_user_fd).store(fd, std::memory_order_release); }

}  // namespace

void nl_handle_message(const uint8_t* msg, uint32_t namelen, uint32_t sender) {
    NlDeviceEvent ev{};
    const NlVerdict verdict = nl_check_request(msg, namelen, sender, platform_nl_driver_pid(), &ev);
    if (verdict == NlVerdict::BadNameLen) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "tandrel_netlink_msg_process recvd msg with namelen != sizeof socaddr_nl.");
        return;
    }
    if (verdict == NlVerdict::ForeignSender) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "tandrel_netlink_msg_process recvd msg from port id %u, not the AT driver's: "
                      "dropped",
                      sender);
        return;
    }
    TANDREL_TRACE(TRACE_LEVEL_DEBUG,
                  "receive netlink message, device_id is:%d, event_code is:%d, length is:%d\n",
                  static_cast<int>(ev.device_id), static_cast<int>(ev.event_code),
                  static_cast<int>(ev.len));
    if (verdict == NlVerdict::BadDevice) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_netlink_msg_process recvd msg device_id = %d!",
                      static_cast<int>(ev.device_id));
        return;
    }
    if (verdict == NlVerdict::BadLength) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "tandrel_netlink_msg_process recvd msg device_event->len = %d > "
                      "FIX_NL_DATA_LENGTH !",
                      static_cast<int>(ev.len));
        return;
    }
    // The buffer ends up as if zeroed whole and then written: the request,
    // then zeros. Past what the last request wrote it is zero already.
    osa_memcpy_s(g_nl_rx_buf, sizeof g_nl_rx_buf, msg + NL_DATA_OFFSET, ev.len);
    if (g_nl_rx_dirty > ev.len) {
        osa_memset_s(g_nl_rx_buf + ev.len, sizeof g_nl_rx_buf - ev.len, 0, g_nl_rx_dirty - ev.len);
    }
    g_nl_rx_dirty = ev.len;
    // post_notify copies the bytes before it returns, so the buffer is free
    // for the next message.
    if (post_notify(NOTIFY_MODULE_TANDREL, TANDREL_EVT_AT_REQUEST, ev.len, g_nl_rx_buf) != 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_netlink_msg_process post_notify failed");
    }
}

void nl_receive_one(NlReceiver& r) {
    // The whole buffer is zero before the receive, as if zeroed whole.
    osa_memset_s(r.buf, r.capacity, 0, r.dirty < r.capacity ? r.dirty : r.capacity);
    r.dirty = 0;
    sockaddr_nl src = nl_address(0);
    iovec iov{r.buf, r.capacity};
    msghdr in{};
    in.msg_name = &src;
    in.msg_namelen = sizeof src;
    in.msg_iov = &iov;
    in.msg_iovlen = 1;
    const ssize_t n = recvmsg(r.fd, &in, 0);
    // A datagram longer than the buffer fills it; a failed receive is taken
    // to have written anything.
    r.dirty = n > 0 && static_cast<size_t>(n) < r.capacity ? static_cast<uint32_t>(n) : r.capacity;
    if (n <= 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_netlink_msg_process recvmsg error.");
        const uint32_t pause = nl_recv_backoff_ms(++r.failures);
        if (pause != 0) {
            osa_sleep(pause);
        }
        return;
    }
    r.failures = 0;
    nl_handle_message(r.buf, in.msg_namelen, src.nl_pid);
}

void tandrel_netlink_msg_process(void) {
    TANDREL_TRACE(TRACE_LEVEL_INFO, "tandrel_netlink_msg_process enter!!\r\n");
    tandrel_main();

    const int fd = socket(AF_NETLINK, SOCK_RAW, platform_nl_protocol());
    if (fd < 0) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_netlink_msg_process Create socket failed.");
        return;
    }
    const sockaddr_nl local = nl_address(static_cast<uint32_t>(getpid()));
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        trace_bind_failure(fd, errno);
        close(fd);
        return;
    }
    set_user_fd(fd);
    boot_check_update_info();

    const NlRegistrationSize size = nl_registration_size(g_at_cmd_table);
    TANDREL_TRACE(TRACE_LEVEL_INFO,
                  "tandrel_netlink_msg_process cmdtbl_len = %d, final_len = %d\r\n",
                  static_cast<int>(size.cmdtbl_len), static_cast<int>(size.final_len));
    OsaBuffer msg(size.buffer_size);
    if (!msg) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR, "tandrel_netlink_msg_process malloc failed.");
        set_user_fd(-1);
        close(fd);
        return;
    }
    auto* buf = msg.as<uint8_t>();
    nl_build_registration(g_at_cmd_table, g_nl_seq++, static_cast<uint32_t>(getpid()), buf,
                          msg.size());

    // On the module the driver is the kernel (port id 0); elsewhere the
    // platform names the process that plays it.
    sockaddr_nl driver = nl_address(platform_nl_driver_pid());
    iovec iov{buf, size.nlmsg_len};
    msghdr out{};
    out.msg_name = &driver;
    out.msg_namelen = sizeof driver;
    out.msg_iov = &iov;
    out.msg_iovlen = 1;
    if (sendmsg(fd, &out, 0) == -1) {
        TANDREL_TRACE(TRACE_LEVEL_ERROR,
                      "tandrel_netlink_msg_process sendmsg funciton failed.[main]");
    }
    TANDREL_TRACE(TRACE_LEVEL_INFO, "tandrel_netlink_msg_process netlink message send completely!");

    TANDREL_TRACE(TRACE_LEVEL_INFO, "tandrel_netlink_msg_process netlink rev loop begin!");
    NlReceiver receiver{fd, buf, size.nlmsg_len, 0};
    for (;;) {
        nl_receive_one(receiver);
    }
}
