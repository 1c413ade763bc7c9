#!/usr/bin/python3
"""Exports trained weights as a network description and a weights file.

usage: exportModel.py pose|palm WEIGHTS.npz NAME   writes NAME.net and NAME.blobs

The description is an ONNX graph whose large tensors lie outside it, in the weights file; it ends
in the digests of both. The input is one grey 8-bit image, the output signed bytes. The graph is run
and compared with the trained network before it is written.
"""

import argparse
import hashlib
import io
import sys

import schedule  # noqa: F401 sets the threads' behaviour before torch is loaded

import cv2
import numpy as np
import onnx
import torch
from onnx import TensorProto, helper, numpy_helper

from networks import SIDE, PalmExport, PalmNet, PoseExport, PoseNet, load_weights

OPSET = 11
# Tensors up to this many bytes stay in the description.
INLINE = 64
OUTPUTS = {"pose": "output0", "palm": "feature"}


def exportable(kind, weights):
    if kind == "pose":
        return PoseExport(load_weights(PoseNet(), weights).eval()).eval()
    return PalmExport(load_weights(PalmNet(), weights).eval()).eval()


def graph_of(module):
    buffer = io.BytesIO()
    torch.onnx.export(module, torch.zeros(1, 1, SIDE, SIDE), buffer, opset_version=OPSET,
                      input_names=["pixels"], output_names=["rounded"], do_constant_folding=True)
    return onnx.load_from_string(buffer.getvalue())


def take_bytes(model):
    """The graph takes 8-bit pixels."""
    model.graph.input[0].name = "frame"
    model.graph.input[0].type.tensor_type.elem_type = TensorProto.UINT8
    cast = helper.make_node("Cast", ["frame"], ["pixels"], to=TensorProto.FLOAT)
    model.graph.node.insert(0, cast)


def give_bytes(model, name):
    """The graph ends in signed bytes; the reader knows them by these very names."""
    names = [name + "_scale", name + "_zero_point"]
    model.graph.initializer.append(numpy_helper.from_array(np.array(1.0, np.float32), names[0]))
    model.graph.initializer.append(numpy_helper.from_array(np.array(0, np.int8), names[1]))
    result = name + "_quantized"
    model.graph.node.append(helper.make_node("QuantizeLinear", ["rounded"] + names, [result]))
    model.graph.output[0].name = result
    model.graph.output[0].type.tensor_type.elem_type = TensorProto.INT8


def drop_copies(model):
    """Initializers must not go through Identity nodes: equal tensors get a tensor each."""
    stored = {tensor.name: tensor for tensor in model.graph.initializer}
    for node in [n for n in model.graph.node if n.op_type == "Identity" and n.input[0] in stored]:
        copy = TensorProto()
        copy.CopyFrom(stored[node.input[0]])
        copy.name = node.output[0]
        model.graph.initializer.append(copy)
        model.graph.node.remove(node)


def move_weights(model):
    blobs = bytearray()
    for tensor in model.graph.initializer:
        values = numpy_helper.to_array(tensor).tobytes()
        if len(values) <= INLINE:
            continue
        for field in ("raw_data", "float_data", "int32_data", "int64_data"):
            tensor.ClearField(field)
        tensor.data_location = TensorProto.EXTERNAL
        entries = {"location": "blobs", "offset": str(len(blobs)), "length": str(len(values))}
        for key, value in entries.items():
            tensor.external_data.add(key=key, value=value)
        blobs += values
    return bytes(blobs)


def sealed(model, blobs):
    """The description with the digest of the weights, and last its own."""
    model.ir_version = min(model.ir_version, 8)
    model.metadata_props.add(key="blobs_sha256", value=hashlib.sha256(blobs).hexdigest())
    model.metadata_props.add(key="net_sha256", value="0" * 64)
    text = reordered(model)[:-64]
    return text + hashlib.sha256(text).hexdigest().encode()


def reordered(model):
    """Serialised with the metadata last, as the seal wants it."""
    rest = onnx.ModelProto()
    rest.CopyFrom(model)
    rest.ClearField("metadata_props")
    tail = onnx.ModelProto()
    tail.metadata_props.extend(model.metadata_props)
    return rest.SerializeToString() + tail.SerializeToString()


def verify(model, module):
    """Runs the graph as the library's stand-in does and compares it with the trained network."""
    onnx.checker.check_model(model)
    reader = cv2.dnn.readNetFromONNX(np.frombuffer(model.SerializeToString(), np.uint8))
    rng = np.random.default_rng(1)
    worst = 0
    for _ in range(8):
        small = rng.integers(0, 256, (8, 8), dtype=np.uint8)
        frame = cv2.resize(small, (SIDE, SIDE), interpolation=cv2.INTER_CUBIC)[None, None]
        reader.setInput(frame)
        found = reader.forward()
        if found.dtype != np.int8:
            raise SystemExit(f"the output is {found.dtype}, not signed bytes")
        with torch.no_grad():
            wanted = module(torch.from_numpy(frame).float()).numpy()
        wanted = np.clip(np.rint(wanted), -128, 127).reshape(found.shape)
        worst = max(worst, int(np.abs(found.astype(int) - wanted).max()))
    if worst > 1:
        raise SystemExit(f"the exported network is off by {worst}")
    return found.shape


def divide_by_length(model):
    """A vector is divided by its length itself, without the guard against zero around it."""
    makers = {node.output[0]: node for node in model.graph.node}
    for division in [n for n in model.graph.node if n.op_type == "Div"]:
        node, guard = makers[division.input[1]], []
        while node.op_type in ("Expand", "Clip"):
            guard.append(node)
            guard += [makers[name] for name in node.input[1:] if makers.get(name) is not None]
            node = makers[node.input[0]]
        if node.op_type != "ReduceL2":
            raise SystemExit("a division that is no normalisation")
        division.input[1] = node.output[0]
        used = {name for other in model.graph.node if other not in guard for name in other.input}
        for spare in guard:
            if spare.output[0] not in used:
                model.graph.node.remove(spare)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("kind", choices=sorted(OUTPUTS))
    parser.add_argument("weights")
    parser.add_argument("name")
    options = parser.parse_args()
    torch.set_num_threads(1)
    module = exportable(options.kind, options.weights)
    model = graph_of(module)
    drop_copies(model)
    take_bytes(model)
    give_bytes(model, OUTPUTS[options.kind])
    shape = verify(model, module)
    divide_by_length(model)
    blobs = move_weights(model)
    net = sealed(model, blobs)
    for suffix, content in ((".net", net), (".blobs", blobs)):
        with open(options.name + suffix, "wb") as file:
            file.write(content)
    weights = sum(parameter.numel() for parameter in module.parameters())
    print(f"{options.name}: {len(net)} + {len(blobs)} bytes, {weights / 1e6:.2f} million weights, "
          f"output {shape}")


if __name__ == "__main__":
    sys.exit(main())
