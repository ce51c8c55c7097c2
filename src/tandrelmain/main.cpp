// The process entry: module type, pid file, message-loop thread, then the netlink loop for good.
#include <pthread.h>

#include "at_kernel.h"
#include "module_info.h"
#include "nl_channel.h"
#include "osa.h"
#include "tandrel_core.h"
#include "tandrel_main.h"

int main() {
    g_m2m_type = GetM2MType();
    store_pid("tandrel.pid");
    if (osa_pthread_create(nullptr, 0, 0, tandrel_msg_thread, nullptr) == 0) {
        return -1;
    }
    pthread_mutex_init(&at_response, nullptr);
    tandrel_netlink_msg_process();
    return 0;
}
