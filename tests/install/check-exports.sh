#!/usr/bin/env bash
# Fails when the shared library exports a symbol that is not part of its public interface: the I interfaces,
# the data objects, the exceptions, the exported factories and the version functions.
set -euo pipefail
library=$1

public='^(ISonaCore|StringOverloadBase|operator<<|vq::sonaCoreLib::|exceptions::|sonacore::I[A-Z]|sonacore::(imessages|ihandles|iprocess)::I[A-Z]|sonacore::(DataObjectBase|DeliveryData|BaseMessage|StatusMessage|ChannelAmountChanged|VectorData|ChannelData)::|sonacore::(DataObjectBase|DeliveryData|BaseMessage|StatusMessage|ChannelAmountChanged|VectorData|ChannelData)$)'

# Instantiations of the standard library's and Qt's own templates carry those libraries' visibility and are
# not part of this library's interface; they are left out by their mangled names before demangling.
symbols=$(nm -D --defined-only "$library" | awk '$2 != "u" { print $3 }' \
    | grep -v -E '^_Z(N|NK)?(St|9__gnu_cxx)|^_Z(TI|TS|TV)(N)?St|^_Z(TI|TS|TV)[0-9]+Q|^_ZN[0-9]+Q' | c++filt)
[ -n "$symbols" ] || { echo "no exported symbols found in $library"; exit 1; }

unexpected=$(printf '%s\n' "$symbols" \
    | sed -E 's/^(vtable for |typeinfo for |typeinfo name for |VTT for |non-virtual thunk to |virtual thunk to )//' \
    | grep -v -E "$public" || true)
primitives=$(printf '%s\n' "$symbols" | grep -E '^ipp' || true)
# Type information of plain function types (as std::function keeps it) belongs to no class of ours.
unexpected=$(printf '%s\n' "$unexpected" | grep -v -E '^[a-z]+ (\(\*\))?\([a-z, ]*\)$' || true)

if [ -n "$unexpected$primitives" ]; then
    echo "The library exports symbols that are not part of its public interface:"
    printf '%s\n' "$unexpected" "$primitives" | sed '/^$/d' | head -50
    exit 1
fi
echo "$(printf '%s\n' "$symbols" | wc -l) exported symbols, all public"
