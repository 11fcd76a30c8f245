# Sourced by the commands of this directory and of bench/: with --help, a command prints the comment at its head and ends.
usage() { sed -n '2,/^set/s/^# \?//p' "$0"; }
case "${1-}" in
  --help | -h) usage && exit ;;
esac
