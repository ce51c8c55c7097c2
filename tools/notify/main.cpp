// tandrel-notify: raises one event on the running daemon's notify bus from a shell.
#include <cstdio>
#include <string>

#include "notify_args.h"
#include "notify_send.h"

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            fputs(notify_usage(), stdout);
            return 0;
        }
    }
    NotifyArgs args;
    std::string message;
    if (!notify_parse_args(argc, argv, &args, &message)) {
        fprintf(stderr, "tandrel-notify: %s\n%s", message.c_str(), notify_usage());
        return 2;
    }
    switch (notify_send(args, 2000, &message)) {
        case NotifySendResult::Queued:
            return 0;
        case NotifySendResult::Refused:
            fprintf(stderr, "tandrel-notify: %s\n", message.c_str());
            return 1;
        case NotifySendResult::Unreachable:
            break;
    }
    fprintf(stderr, "tandrel-notify: %s\n", message.c_str());
    return 3;
}
