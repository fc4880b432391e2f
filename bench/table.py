#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the benchmarks of a build and prints them beside their peers as one table of ratios (ours / peer).

usage: bench/table.py [BUILD/bench] [--min-time SECONDS] [--repetitions N]
Every ratio is of the medians of one run. Times are CPU times, or wall times where threads are at work. The processor
comes first: the ratios of one say little about another.
"""
import argparse
import json
import os
import subprocess

# program, what, ours, peer, what the peer is, the ratio to reach
ROWS = [
    ("string", "copy and drop a String of 40 bytes", "copyString/40", "copySharedPtr/40", "shared_ptr<string>", 0.8),
    ("string", "... of 4 KiB", "copyString/4096", "copySharedPtr/4096", "shared_ptr<string>", 0.8),
    ("string", "... of 4 KiB", "copyString/4096", "copyStdString/4096", "std::string", 0.2),
    ("string", "substring of 1 KiB out of 4 KiB", "substringString", "substringSharedPtr", "shared_ptr + view", 0.8),
    *[("join", f"join {n} pieces", f"joinString/{n}", f"joinStdString/{n}", "std::string +", 1.0) for n in (4, 8, 16, 32)],
    *[("join", f"join {n} pieces", f"joinString/{n}", f"joinStrCat/{n}", "absl::StrCat", None) for n in (4, 8, 16, 32)],
    *[("pool", f"take and give back {n} bytes", f"poolBlock/{n}", f"newBlock/{n}", "operator new", 1.0)
      for n in (64, 256, 1024)],
    *[("pool", f"take and give back {n} bytes", f"poolBlock/{n}", f"mallocBlock/{n}", "malloc", 0.4)
      for n in (2048, 4096, 8192)],
    *[("pool", f"... {n} bytes, two threads in neighbouring classes", f"poolBlock/{n}/threads:2",
       f"mallocBlock/{n}/threads:2", "malloc", 1.5) for n in (256, 4096)],
    ("base64", "Base64 of 40 bytes", "encodeTessel/40", "encodeOpenSslString/40", "OpenSSL", 1.0),
    *[("base64", f"Base64 of {n} bytes", f"encodeTessel/{n}", f"{peer}/{n}", name, 0.75)
      for n in (256, 65536) for peer, name in (("encodeOpenSslBuffer", "OpenSSL"), ("encodeAbsl", "Abseil"))],
    ("numbers", "integer to String", "intToString", "intSnprintf", "snprintf", 0.35),
    ("numbers", "String to integer", "stringToInt", "stringFromChars", "from_chars", 1.15),
    *[("gc", f"copy and drop a counted pointer, {n} thread(s)", f"copyPointer/real_time/threads:{n}",
       f"copyBoostPointer/real_time/threads:{n}", "boost::intrusive_ptr", 1.0) for n in (1, 2)],
    *[("log", f"log() at the caller, {n} producer(s), {statistic}", (f"burst<Ours>/{n}", counter),
       (f"burst<Peer>/{n}", counter), "spdlog asynchronous", goal)
      for n in (1, 2) for statistic, counter, goal in (("median", "median_ns", 0.6), ("99th percentile", "p99_ns", 0.5))],
    *[("log", f"time for a line in the file, {n} producer(s)", f"throughput<Ours>/{n}", f"throughput<Peer>/{n}", "spdlog",
       1.35) for n in (1, 2)],
    ("log", "... two producers beside one", "throughput<Ours>/2", "throughput<Ours>/1", "one producer", 1.0),
    ("xml", "XML: 1 KiB of settings, 16 keys", "settingsTessel", "settingsPugixml", "pugixml", 2.3),
    *[("xml", f"XML: {n // 1024} KiB", f"documentTessel/{n}", f"documentTinyxml2/{n}", "tinyxml2", 0.6)
      for n in (102400, 10485760)],
    ("json", "JSON: 2 KiB of configuration, 30 keys", "configurationTessel", "configurationJsoncpp", "jsoncpp", 1.15),
    ("uri", "URI: split", "split/tessel", "split/pcre2-jit", "PCRE2 with JIT", 1.15),
    ("uri", "URI: split, set a parameter, rebuild", "split-set-rebuild/tessel", "split-set-rebuild/std-regex", "std::regex",
     0.9),
    ("uri", "URI: encode 1 KiB", "encode-1KiB/tessel", "encode-1KiB/curl_easy_escape", "curl_easy_escape", 0.3),
    ("digest", "SHA-256 of 50 MB in blocks of 1 KiB", "sha256-50MB/tessel-1KiB", "sha256-50MB/openssl-64KiB", "OpenSSL",
     1.05),
    ("digest", "MD5 of 50 MB in blocks of 1 KiB", "md5-50MB/tessel-1KiB", "md5-50MB/openssl-64KiB", "OpenSSL", 1.05),
    ("digest", "load the key, verify a signature", "load-key-and-verify/tessel", "load-key-and-verify/openssl-evp",
     "EVP decoder", 0.2),
]


def run(program, arguments):
    command = [program, "--benchmark_format=json", f"--benchmark_min_time={arguments.min_time}",
               f"--benchmark_repetitions={arguments.repetitions}", "--benchmark_report_aggregates_only=true"]
    if arguments.repetitions > 1:
        command.append("--benchmark_enable_random_interleaving=true")
    text = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    return {b["run_name"]: b for b in json.loads(text)["benchmarks"] if b["aggregate_name"] == "median"}


def processor():
    """As the system names the first one, with the numbers that tell apart what shares a name."""
    with open("/proc/cpuinfo") as file:
        first = file.read().split("\n\n")[0]
    facts = dict((part.strip() for part in line.split(":", 1)) for line in first.splitlines())
    numbers = ", ".join(f"{key} {facts[key]}" for key in ("cpu family", "model", "stepping") if key in facts)
    return f"{os.cpu_count()} x {facts.get('model name', 'a processor without a name')} ({numbers})"


def value(results, key):
    name, counter = key if isinstance(key, tuple) else (key, None)
    found = results.get(name) or next((b for n, b in results.items() if n.startswith(name + "/")), None)
    if found is None:
        return None
    if counter is None:
        counter = "real_time" if "real_time" in found["run_name"] else "cpu_time"
    return found.get(counter)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("directory", nargs="?", default="build/release/bench")
    parser.add_argument("--min-time", type=float, default=0.1)
    parser.add_argument("--repetitions", type=int, default=9)
    arguments = parser.parse_args()
    results = {}
    print(processor() + "\n")
    print("| what | beside | ratio | to reach |\n|---|---|---|---|")
    for program, what, ours, peer, name, goal in ROWS:
        if program not in results:
            results[program] = run(os.path.join(arguments.directory, program + "_bench"), arguments)
        one, other = value(results[program], ours), value(results[program], peer)
        ratio = f"{one / other:.2f}" if one and other else "not measured"
        print(f"| {what} | {name} | {ratio} | {'' if goal is None else goal} |", flush=True)


main()
