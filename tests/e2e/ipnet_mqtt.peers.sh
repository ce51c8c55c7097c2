# Peers of ipnet_mqtt.at: a mosquitto broker on 127.0.0.1 with a
# configuration of its own, and a subscriber to tandrel/demo that must get
# the message the transcript publishes.
broker=$(peer_port)
printf 'listener %s 127.0.0.1\nallow_anonymous true\npersistence false\n' "$broker" \
    > "$work/mosquitto.conf"
peer_start broker mosquitto -c "$work/mosquitto.conf"
peer_wait_tcp "$broker" || return 1
peer_start sub stdbuf -oL mosquitto_sub -d -h 127.0.0.1 -p "$broker" -t tandrel/demo -C 1
# The subscription stands once the broker has acknowledged it.
for _ in $(seq 50); do
    grep -q SUBACK "$work/sub.log" && break
    sleep 0.1
done
peer_set BROKER "$broker"
peers_check() {
    grep -qx 'hello from the module' "$work/sub.log"
}
