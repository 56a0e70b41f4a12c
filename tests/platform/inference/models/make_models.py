#!/usr/bin/env python3
"""Writes the tiny ONNX files of the tests beside this script.

ONNX is a protobuf; the few messages needed are written by hand, so that nothing needs to be
installed. Each network takes "audio" [1, 8] and gives [1, 2] unless its name says otherwise.
"""

import pathlib
import struct

FLOAT, INT64 = 1, 7
INT_ATTRIBUTE = 2


def varint(number):
    out = bytearray()
    while number > 127:
        out.append(number & 127 | 128)
        number >>= 7
    out.append(number)
    return bytes(out)


def integer(field, value):
    return varint(field << 3) + varint(value)


def block(field, value):
    data = value.encode() if isinstance(value, str) else value
    return varint(field << 3 | 2) + varint(len(data)) + data


def tensor(name, dims, values):
    dimensions = b"".join(integer(1, dim) for dim in dims)
    raw = struct.pack(f"<{len(values)}f", *values)
    return dimensions + integer(2, FLOAT) + block(8, name) + block(9, raw)


def value_info(name, dims):
    shape = b"".join(block(1, integer(1, dim)) for dim in dims)
    return block(1, name) + block(2, block(1, integer(1, FLOAT) + block(2, shape)))


def node(kind, inputs, outputs, **attributes):
    body = b"".join(block(1, name) for name in inputs)
    body += b"".join(block(2, name) for name in outputs)
    body += block(3, outputs[0]) + block(4, kind)
    for name, value in attributes.items():
        body += block(5, block(1, name) + integer(3, value) + integer(20, INT_ATTRIBUTE))
    return body


def model(nodes, inputs, outputs, tensors):
    graph = b"".join(block(1, one) for one in nodes) + block(2, "graph")
    graph += b"".join(block(5, one) for one in tensors)
    graph += b"".join(block(11, one) for one in inputs)
    graph += b"".join(block(12, one) for one in outputs)
    return integer(1, 7) + block(7, graph) + block(8, block(1, "") + integer(2, 13))


def classifier(samples=8, classes=2, input_name="audio", bias=0.0):
    """softmax(W audio + b): class 1 grows with the sum of the window, class 0 shrinks with it."""
    weights = [1.0 if row == 1 else -1.0 for row in range(classes) for _ in range(samples)]
    return model(
        [node("Gemm", [input_name, "weights", "bias"], ["sums"], transB=1),
         node("Softmax", ["sums"], ["probabilities"], axis=1)],
        [value_info(input_name, [1, samples])],
        [value_info("probabilities", [1, classes])],
        [tensor("weights", [classes, samples], weights), tensor("bias", [classes], [bias] * classes)])


def square_root():
    """sqrt(W audio + 1): finite on silence, not a number on a loud negative window."""
    return model(
        [node("Gemm", ["audio", "weights", "bias"], ["sums"], transB=1),
         node("Sqrt", ["sums"], ["roots"])],
        [value_info("audio", [1, 8])], [value_info("roots", [1, 2])],
        [tensor("weights", [2, 8], [1.0] * 16), tensor("bias", [2], [1.0, 1.0])])


def average(samples):
    """The average of the window and its negative, which could be taken of a window of any length."""
    return model(
        [node("Unsqueeze", ["audio", "axis"], ["channel"]),
         node("GlobalAveragePool", ["channel"], ["mean"]),
         node("Flatten", ["mean"], ["flat"], axis=1),
         node("Gemm", ["flat", "weights", "bias"], ["sums"], transB=1)],
        [value_info("audio", [1, samples])], [value_info("sums", [1, 2])],
        [integer(1, 1) + integer(2, INT64) + block(8, "axis") + block(9, struct.pack("<q", 1)),
         tensor("weights", [2, 1], [-1.0, 1.0]), tensor("bias", [2], [0.0, 0.0])])


MODELS = {
    "average-of-sixteen": average(16),
    "sum": classifier(),
    "sixteen-samples": classifier(samples=16),
    "three-classes": classifier(classes=3),
    "other-input-name": classifier(input_name="sound"),
    "not-finite": classifier(bias=float("nan")),
    "square-root": square_root(),
    "no-nodes": model([], [value_info("audio", [1, 8])], [value_info("audio", [1, 8])], []),
    "unknown-operation": model([node("Sing", ["audio"], ["song"])], [value_info("audio", [1, 8])],
                               [value_info("song", [1, 2])], []),
}

for file_name, content in MODELS.items():
    (pathlib.Path(__file__).parent / f"{file_name}.onnx").write_bytes(content)
