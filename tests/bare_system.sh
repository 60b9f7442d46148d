#!/usr/bin/env bash
# Usage: bare_system.sh PACKAGES README
# Makes a bare Debian 12 in a folder, installs the packages there as README says, starts it in an
# emulated machine, uses, upgrades, removes and purges them. Takes root and Debian's archive; says so,
# with status 77, where there is neither. Only installing sees the network.
set -euo pipefail
PATH=$PATH:/usr/sbin:/sbin
packages=$(realpath "$1") readme=$(realpath "$2")
if [[ $(id -u) -ne 0 ]] || ! unshare --mount --net --pid --fork true 2>/dev/null; then
    echo "left out: a system in a folder takes root" >&2
    exit 77
fi

work=$(mktemp -d)
bare=$work/bare
trap 'rm -rf "$work"' EXIT
if ! mmdebstrap --quiet --variant=minbase --include=man-db,bash-completion bookworm "$bare" \
        >"$work/log" 2>&1; then
    cat "$work/log" >&2
    echo "left out: no Debian could be made" >&2
    exit 77
fi

# Runs the script on standard input in the system; its mounts and processes go with it. NETWORK: host,
# or own, with two interfaces on one cable.
run_there() {  # NETWORK STEP
    local network=$1 options=(--mount --pid --fork --kill-child)
    [[ $network == host ]] || options+=(--net)
    { echo 'fail() { echo "$*" >&2; exit 1; }'; cat; } >"$bare/root/step"
    cp /etc/resolv.conf "$bare/etc/resolv.conf"
    echo "== $2"
    unshare "${options[@]}" bash -euc '
        bare=$1 network=$2
        mount -t proc proc "$bare/proc"
        mount --rbind /dev "$bare/dev"
        mount -t sysfs sysfs "$bare/sys"
        mount -t tmpfs tmpfs "$bare/run"
        if [[ $network == own ]]; then
            ip link set lo up
            ip link add eth0 type veth peer name eth1
        fi
        exec env -i HOME=/root LANG=C.UTF-8 TERM=dumb DEBIAN_FRONTEND=noninteractive \
            PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
            chroot "$bare" bash -eu /root/step' - "$bare" "$network"
}

# The lines of README that a newcomer types under a heading.
typed() {  # HEADING
    sed -n "/^## $1\$/,/^## /s/^    //p" "$readme" | sed 's/ *#.*//'
}

# Waits until somebody listens on a port: listening PORT
cat >"$bare/usr/local/bin/listening" <<'END'
#!/bin/sh
exec timeout 30 sh -c 'until grep -q "$(printf ":%04X 0" "$0")" /proc/net/tcp; do sleep 0.1; done' "$1"
END
chmod 755 "$bare/usr/local/bin/listening"

mkdir "$bare/packages"
cp "$packages"/*.deb "$bare/packages"
printf '#!/bin/sh\nexit 101\n' >"$bare/usr/sbin/policy-rc.d"  # nobody starts services here
chmod 755 "$bare/usr/sbin/policy-rc.d"
typed 'Quick start' >"$bare/root/newcomer"

run_there host install <<'END'
cd /packages
apt-get -qq update >/dev/null
grep -h '^apt install' /root/newcomer | sed 's/^apt/apt-get -qq/' >/root/install
grep -q . /root/install
. /root/install
useradd --create-home --shell /bin/bash alice
echo alice:right | chpasswd
[ -e /usr/share/zsh/vendor-completions/_korvane_zwcli ]
apt-get -qq install ./libzwmgmt1_*.deb ./libzwmgmt-dev_*.deb
END

# Programs that are built with what libzwmgmt-dev has; the compiler is this system's.
build_there() {  # SOURCE PROGRAM
    PKG_CONFIG_SYSROOT_DIR=$bare PKG_CONFIG_LIBDIR=$bare/usr/lib/x86_64-linux-gnu/pkgconfig \
        sh -c 'g++ -std=c++20 "$0" -o "$1" $(pkg-config --cflags --libs zwmgmt)' "$@"
}
build_there "$bare/usr/share/doc/libzwmgmt-dev/examples/consumer/consumer.cpp" "$bare/root/consumer"
cat >"$work/trusting.cpp" <<'END'
// Whether a session that is told no trust store finds one.
#include <zwmgmt/zwmgmt_interface.h>
int main() { return ZwMgmt_interface().FailureDetail()[0] == '\0' ? 0 : 1; }
END
build_there "$work/trusting.cpp" "$bare/root/trusting"

run_there own 'a simulated agent' <<'END'
sed -n '/^korvane_zmsim/,/^man /p' /root/newcomer >/home/alice/session
grep -q 'listadapterprops' /home/alice/session
sed -i '/&$/a listening 35002' /home/alice/session
runuser -u alice -- env HOME=/home/alice MANPAGER=cat bash -eu /home/alice/session >/root/said 2>&1 ||
    fail "$(cat /root/said)"
grep -q 'Vendor ID' /root/said || fail "$(cat /root/said)"
grep -q 'manage the Korvane Ethernet adapters' /root/said || fail "no manual: $(cat /root/said)"
korvane_zmsim --port 35003 >/dev/null &
listening 35003
key=$(korvane_zwcli agents scan 127.0.0.1:35003 | cut -d' ' -f2)
/root/consumer "$key" alice 127.0.0.1 35003 | grep -q 'eth2  2 ports'
for page in korvane_zwcli korvane_zwcli-filter korvane_zmsim zw-policy korvane_zmagent zmagent.toml; do
    man -w $page >/dev/null
done
bash -c '
    . /usr/share/bash-completion/bash_completion
    __load_completion korvane_zwcli
    COMP_LINE="korvane_zwcli korvane listp" COMP_POINT=27
    compopt() { :; }
    _korvane_zwcli /usr/bin/korvane_zwcli listp korvane
    [[ ${COMPREPLY[*]} == listports ]]' || fail "no completion"
END

run_there own 'a real agent' <<'END'
[ "$(stat -c '%a %U' /etc/korvane/zmagent.pem)" = '600 root' ]
getent passwd korvane-zmagent >/dev/null
grep '^usermod' /root/newcomer >/root/session
. /root/session
sed -i 's/^virtual = .*/virtual = true/; s/^to = .*/to = "\/var\/log\/korvane-zmagent\/audit"/' /etc/korvane/zmagent.toml
korvane_zmagent --check-config
mkdir /var/log/korvane-zmagent
korvane_zmagent &
listening 35001
echo right >/root/password
chmod 600 /root/password
ask() {
    korvane_zwcli --user alice --password-file /root/password "$@" >/root/said 2>&1 ||
        fail "$(cat /root/said)"
}
ask korvane listadapterprops
ask net mtu set ifname=eth0 mtu=1400
! /root/trusting || fail "a trust store was found where none is"
cp /etc/korvane/zmagent.pem /etc/korvane/agents.pem
/root/trusting
ask --verify ca --host 127.0.0.1 korvane listadapterprops
! (ask --verify ca --host 127.0.0.2 korvane listadapterprops) 2>/dev/null ||
    fail "a certificate was taken for another name"
rm /etc/korvane/agents.pem
[ "$(cat /sys/class/net/eth0/mtu)" = 1400 ]
grep -q 'alice' /var/log/korvane-zmagent/audit
kill %1
wait %1
END

# The system is started by its own systemd, as a machine would, and has to say that all is well.
start_system() {
    started="started in a machine"
    local cache=${XDG_CACHE_HOME:-$HOME/.cache}/zwmgmt/machine
    if ! command -v qemu-system-x86_64 >/dev/null || [[ ! -f $cache/vmlinuz ]]; then
        echo "left out: there is no emulated machine (scripts/setup --machine)" >&2
        started="but not started"
        return
    fi
    echo "== in an emulated machine"
    cat >"$bare/root/trial"
    printf '[Unit]\nAfter=korvane-zmagent.service\n[Service]\nExecStart=%s\nExecStopPost=%s\n%s' \
        '/bin/bash -euxc ". /root/trial; echo all is well"' \
        '/bin/systemctl poweroff --force --force' \
        $'StandardOutput=tty\nStandardError=tty\nTTYPath=/dev/ttyS0\n' \
        >"$bare/etc/systemd/system/trial.service"
    ln -s ../trial.service "$bare/etc/systemd/system/multi-user.target.wants"
    mke2fs -q -t ext4 -d "$bare" "$work/disk" 1500M
    rm "$bare"/etc/systemd/system/{,multi-user.target.wants/}trial.service

    mkdir "$work/start"
    cat >"$work/start/init" <<'END'
#!/bin/busybox sh
/bin/busybox --install -s /bin
mkdir -p /proc /dev /disk
mount -t proc proc /proc
mount -t devtmpfs dev /dev
for module in virtio_pci virtio_blk virtio_rng virtio_net crc32c_generic ext4; do modprobe $module; done
mount -t ext4 /dev/vda /disk
exec switch_root /disk /lib/systemd/systemd
END
    chmod 755 "$work/start/init"
    (cd "$work/start" && find . -mindepth 1 | cpio --quiet -o -H newc -R +0:+0) |
        cat "$cache/base.cpio" - >"$work/image"
    timeout 400 qemu-system-x86_64 -nodefaults -no-user-config -no-reboot -display none \
        -machine q35,accel=tcg -m 1024 -kernel "$cache/vmlinuz" -initrd "$work/image" \
        -serial "file:$work/console" -device virtio-rng-pci \
        -drive "file=$work/disk,format=raw,if=none,id=disk" -device virtio-blk-pci,drive=disk \
        -netdev user,id=outside,restrict=on -device virtio-net-pci,netdev=outside \
        -append "console=ttyS0 quiet panic=-1 net.ifnames=0" || true
    rm "$work/disk"
    if ! grep -q '^all is well' "$work/console"; then
        cat "$work/console" >&2
        return 1
    fi
}
start_system <<'END'
trap 'journalctl --no-pager -u korvane-zmagent' ERR
systemctl is-active korvane-zmagent
usermod -aG korvane-operators alice
echo right >/root/password
chmod 600 /root/password
ask() { korvane_zwcli --user alice --password-file /root/password "$@"; }
ask korvane listadapterprops | grep 'Vendor ID  *: 0x1af4'
ask net mtu set ifname=eth0 mtu=1400
grep -x 1400 /sys/class/net/eth0/mtu
ask --wait net ping ip=127.0.0.1 ipversion=ipv4 numpkts=1
ask --wait net traceroute ip=127.0.0.1 ipversion=ipv4
grep alice /var/log/korvane-zmagent/audit
systemctl reload korvane-zmagent
ask korvane listadapterprops >/dev/null

printf '#!/bin/sh\nwc -c <"$1" >/var/lib/installed && chown alice /var/lib/installed\n' >/usr/local/sbin/hook
chmod 755 /usr/local/sbin/hook
sed -i "s,^install_hook = .*,install_hook = '/usr/local/sbin/hook'," /etc/korvane/zmagent.toml
mkdir -p /etc/systemd/system/korvane-zmagent.service.d
cp /usr/share/doc/korvane-zmagent/korvane-zmagent-packages.conf \
    /etc/systemd/system/korvane-zmagent.service.d
systemctl daemon-reload
systemctl restart korvane-zmagent
head -c 100000 /dev/zero >/root/KorvaneZwire.tar.gz
ask --wait system install type=nic zwirepath=/root/KorvaneZwire.tar.gz
[ "$(cat /var/lib/installed)" = 100000 ]

systemctl stop korvane-zmagent
[ "$(systemctl show -P Result korvane-zmagent)" = success ]
systemctl start korvane-zmagent.socket
ask korvane listadapterprops >/dev/null
END

# The same packages of a later version, with a configuration that has changed.
mkdir "$bare/later"
for package in "$bare"/packages/*_*.deb; do
    [[ $package != *-dbgsym_* ]] || continue
    dpkg-deb -R "$package" "$work/later"
    sed -i 's/^Version: .*/&+later/; s/\((= [^)]*\))/\1+later)/' "$work/later/DEBIAN/control"
    config=$work/later/etc/korvane/zmagent.toml
    [[ ! -e $config ]] || echo '# later' >>"$config"
    dpkg-deb --root-owner-group -b "$work/later" "$bare/later" >/dev/null
    rm -rf "$work/later"
done
run_there host upgrade <<'END'
cp /etc/korvane/zmagent.pem /root/before.pem
apt-get -qq install -o Dpkg::Options::=--force-confold /later/*.deb
dpkg-query -W -f '${Version}\n' korvane-zmagent | grep -q later
cmp /etc/korvane/zmagent.pem /root/before.pem
[ -e /etc/korvane/zmagent.toml.dpkg-dist ]
grep -q '^virtual = true' /etc/korvane/zmagent.toml
korvane_zmagent --check-config
END

run_there own 'remove and purge' <<'END'
ours=$(dpkg-query -W -f '${Package} ' '*korvane*' '*zwmgmt*')
apt-get -qq remove $ours
[ -e /etc/korvane/zmagent.toml ]
[ -e /etc/korvane/zmagent.pem ]
[ ! -e /usr/sbin/korvane_zmagent ]
dpkg --purge $ours
left=$(find / -xdev \( -name '*korvane*' -o -name '*zwmgmt*' -o -name '*zmagent*' \) \
    -not -path '/packages/*' -not -path '/later/*' -not -path '/home/*' -not -path '/root/*')
[ -z "$left" ] || fail "left behind: $left"
END
echo "installed, used, $started, upgraded, removed and purged"
