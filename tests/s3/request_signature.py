"""The signature of a request to a service that speaks S3 ("AWS4"), as both ends compute it."""
import hashlib
import hmac
import urllib.parse


def encoded(text, kept=""):
    return urllib.parse.quote(text, safe="-_.~" + kept)


def encoded_query(query):
    return "&".join(f"{encoded(name)}={encoded(value)}" for name, value in sorted(query))


def signature(method, raw_path, query, headers, names, region, secret_key):
    """Of these headers, by lower-case name; x-amz-date and x-amz-content-sha256 must be among them."""
    stamp = headers["x-amz-date"]
    canonical = "\n".join([method, raw_path, encoded_query(query), *(f"{name}:{headers[name].strip()}" for name in names), "",
                           ";".join(names), headers["x-amz-content-sha256"]])
    scope = (stamp[:8], region, "s3", "aws4_request")
    to_sign = "\n".join(["AWS4-HMAC-SHA256", stamp, "/".join(scope), hashlib.sha256(canonical.encode()).hexdigest()])
    key = ("AWS4" + secret_key).encode()
    for part in (*scope, to_sign):
        key = hmac.new(key, part.encode(), hashlib.sha256).digest()
    return key.hex()
