// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
// SPDX-License-Identifier: MIT

// An independent reader and writer of keyed archives: those of GNUstep's Foundation library.
//
//   gnustep_archives read FILE     decodes the archive and prints what it holds
//   gnustep_archives write FILE    builds what standard input describes and archives it
//
// Descriptions are property lists. An object of a class of ours is a dictionary with its class
// under "class" and its fields; a URL is {"absoluteURL": TEXT}; all else stands for itself.

#import <Foundation/Foundation.h>

#include <stdio.h>

static NSString *const classKey = @"class";
static NSString *const urlKey = @"absoluteURL";

static id described(id object);
static id built(id description);

/// An object whose fields are in a dictionary, by the keys of the archive.
@interface Record : NSObject <NSCoding> {
    NSMutableDictionary *_fields;
}
+ (NSArray *)objectKeys;
+ (NSArray *)boolKeys;
+ (NSArray *)integerKeys;
- (id)initWithFields:(NSDictionary *)fields;
- (NSDictionary *)fields;
@end

@implementation Record

+ (NSArray *)objectKeys {
    return [NSArray array];
}

+ (NSArray *)boolKeys {
    return [NSArray array];
}

+ (NSArray *)integerKeys {
    return [NSArray array];
}

- (id)initWithFields:(NSDictionary *)fields {
    self = [super init];
    if (self)
        _fields = [fields mutableCopy];
    return self;
}

- (NSDictionary *)fields {
    return _fields;
}

- (id)initWithCoder:(NSCoder *)coder {
    self = [self initWithFields:[NSDictionary dictionary]];
    for (NSString *key in [[self class] objectKeys]) {
        id value = [coder decodeObjectForKey:key];
        if (value)
            [_fields setObject:value forKey:key];
    }
    for (NSString *key in [[self class] boolKeys])
        [_fields setObject:[NSNumber numberWithBool:[coder decodeBoolForKey:key]] forKey:key];
    for (NSString *key in [[self class] integerKeys])
        [_fields setObject:[NSNumber numberWithLongLong:[coder decodeInt64ForKey:key]] forKey:key];
    return self;
}

- (void)encodeWithCoder:(NSCoder *)coder {
    for (NSString *key in [[self class] objectKeys])
        [coder encodeObject:[_fields objectForKey:key] forKey:key];
    for (NSString *key in [[self class] boolKeys])
        [coder encodeBool:[[_fields objectForKey:key] boolValue] forKey:key];
    for (NSString *key in [[self class] integerKeys])
        [coder encodeInt64:[[_fields objectForKey:key] longLongValue] forKey:key];
}

@end

@interface ZRKClipmuleDataItem : Record
@end

@implementation ZRKClipmuleDataItem

+ (NSArray *)objectKeys {
    return [NSArray arrayWithObjects:@"oid", @"imageDataHash", @"string", @"url",
                                     @"cacheDictionary", nil];
}

+ (NSArray *)boolKeys {
    return [NSArray arrayWithObjects:@"hasImageData", @"hasNativeDictionary", nil];
}

+ (NSArray *)integerKeys {
    return [NSArray arrayWithObjects:@"cacheVersion", @"createdBy", nil];
}

@end

@interface ZRKClipmuleData : Record
@end

@implementation ZRKClipmuleData

+ (NSArray *)objectKeys {
    return [NSArray arrayWithObjects:@"oid", @"creationDate", @"title", @"items", nil];
}

@end

@interface ZRKClipmuleClipboard : Record
@end

@implementation ZRKClipmuleClipboard

+ (NSArray *)objectKeys {
    return [NSArray arrayWithObjects:@"oid", @"title", @"iconName", @"count", nil];
}

@end

static NSDictionary *mapped(NSDictionary *dictionary, id (*map)(id)) {
    NSMutableDictionary *result = [NSMutableDictionary dictionary];
    for (NSString *key in dictionary)
        [result setObject:map([dictionary objectForKey:key]) forKey:key];
    return result;
}

static NSArray *mappedList(NSArray *list, id (*map)(id)) {
    NSMutableArray *result = [NSMutableArray array];
    for (id element in list)
        [result addObject:map(element)];
    return result;
}

static id described(id object) {
    if ([object isKindOfClass:[Record class]]) {
        NSMutableDictionary *result =
            [NSMutableDictionary dictionaryWithDictionary:mapped([object fields], described)];
        [result setObject:NSStringFromClass([object class]) forKey:classKey];
        return result;
    }
    if ([object isKindOfClass:[NSURL class]])
        return [NSDictionary dictionaryWithObject:[object absoluteString] forKey:urlKey];
    if ([object isKindOfClass:[NSArray class]])
        return mappedList(object, described);
    if ([object isKindOfClass:[NSDictionary class]])
        return mapped(object, described);
    return object;
}

static id built(id description) {
    if ([description isKindOfClass:[NSArray class]])
        return mappedList(description, built);
    if (![description isKindOfClass:[NSDictionary class]])
        return description;
    NSString *const url = [description objectForKey:urlKey];
    if (url)
        return [NSURL URLWithString:url];
    NSString *const name = [description objectForKey:classKey];
    if (!name)
        return mapped(description, built);
    NSMutableDictionary *fields =
        [NSMutableDictionary dictionaryWithDictionary:mapped(description, built)];
    [fields removeObjectForKey:classKey];
    return [[NSClassFromString(name) alloc] initWithFields:fields];
}

static BOOL readArchive(NSString *path) {
    id object = [NSKeyedUnarchiver unarchiveObjectWithFile:path];
    if (!object)
        return NO;
    NSString *error = nil;
    NSData *list = [NSPropertyListSerialization dataFromPropertyList:described(object)
                                                              format:NSPropertyListBinaryFormat_v1_0
                                                   errorDescription:&error];
    return list && fwrite([list bytes], 1, [list length], stdout) == [list length];
}

static BOOL writeArchive(NSString *path) {
    NSData *input = [[NSFileHandle fileHandleWithStandardInput] readDataToEndOfFile];
    NSString *error = nil;
    id description =
        [NSPropertyListSerialization propertyListFromData:input
                                         mutabilityOption:NSPropertyListImmutable
                                                   format:NULL
                                         errorDescription:&error];
    return description && [NSKeyedArchiver archiveRootObject:built(description) toFile:path];
}

// The process is so short that nothing is released.
int main(int argc, char **argv) {
    NSAutoreleasePool *pool = [[NSAutoreleasePool alloc] init];
    BOOL done = NO;
    if (argc == 3) {
        NSString *command = [NSString stringWithUTF8String:argv[1]];
        NSString *path = [NSString stringWithUTF8String:argv[2]];
        @try {
            done = [command isEqual:@"read"] ? readArchive(path) : writeArchive(path);
        } @catch (NSException *exception) {
            fprintf(stderr, "%s\n", [[exception reason] UTF8String]);
        }
    }
    (void)pool;
    return done ? 0 : 1;
}
