#!/bin/sh
# The server program of a product whose server is a unit.
case $1 in
    --shutdown) exec systemctl stop app.service ;;
    --startup) exec systemctl start app.service ;;
esac
