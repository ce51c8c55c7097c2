# Peers of ipnet_links.at on 127.0.0.1: a TCP echo, a UDP echo, a server that
# says "bye" and hangs up, a port nobody listens on, and a port for the
# daemon's own listener, whose client writes what it got to $work/reply.
echo=$(peer_port)
udp=$(peer_port)
greeter=$(peer_port)
peer_start echo socat TCP4-LISTEN:"$echo",bind=127.0.0.1,reuseaddr,fork PIPE
peer_start udp socat UDP4-LISTEN:"$udp",bind=127.0.0.1 PIPE
peer_start greeter socat TCP4-LISTEN:"$greeter",bind=127.0.0.1,reuseaddr,fork SYSTEM:"printf bye"
peer_wait_tcp "$echo" && peer_wait_tcp "$greeter" || return 1
peer_set ECHO "$echo"
peer_set UDP "$udp"
peer_set GREETER "$greeter"
peer_set NOBODY "$(peer_port)"
peer_set LISTEN "$(peer_port)"
peer_set REPLY "$work/reply"
peers_check() {
    [ "$(cat "$work/reply")" = pong ]
}
