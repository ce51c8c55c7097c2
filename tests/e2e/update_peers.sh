# Update servers of the FOTA transcripts; sourced by their <theme>.peers.sh (see peers.sh).

# update_package DIR VERSION FILE BYTES [SHA256]: FILE of BYTES random bytes in DIR and a
# manifest DIR/manifest offering it as VERSION, with SHA256 in place of its own when given.
update_package() {
    mkdir -p "$1"
    head -c "$4" /dev/urandom > "$1/$3"
    sum=${5:-$(sha256sum "$1/$3" | cut -d' ' -f1)}
    printf 'version=%s\npackage=%s\nsize=%s\nsha256=%s\ndescription=Rehearsal build\n' \
        "$2" "$3" "$4" "$sum" > "$1/manifest"
}

# update_server NAME PORT DIR [OPTIONS...]: update_server.py serving DIR, its pid in
# $work/NAME.pid; returns once it listens.
update_server() {
    us_name=$1 us_port=$2 us_dir=$3
    shift 3
    peer_start "$us_name" python3 "$here/update_server.py" "$us_port" "$us_dir" "$work/$us_name.pid" "$@"
    peer_wait_tcp "$us_port"
}
